#include "command_line/names.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace command_line {

namespace {

// How many bytes must be put in, taken out, replaced, or exchanged with their neighbour to make one word the other.
size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<size_t> before(b.size() + 1);
    std::vector<size_t> row(b.size() + 1);
    std::vector<size_t> next(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        next[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = row[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            next[j] = std::min({row[j] + 1, next[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                next[j] = std::min(next[j], before[j - 2] + 1);
            }
        }
        before.swap(row);
        row.swap(next);
    }
    return row.back();
}

// A user may know only a part of the name, such as the application's in that of its module.
size_t mistakes_in(std::string_view word, const std::string &name) {
    constexpr size_t kShortestPart = 3;
    const bool part = word.size() >= kShortestPart && name.find(word) != std::string::npos;
    return part ? 0 : edit_distance(word, name);
}

}  // namespace

std::vector<std::string> meant_names(std::string_view word, const std::vector<std::string> &names) {
    std::vector<std::string> meant;
    for (const std::string &name : names) {
        if (name == word) {
            return {name};
        }
        if (!word.empty() && name.starts_with(word)) {
            meant.push_back(name);
        }
    }
    return meant;
}

std::vector<std::string> similar_names(std::string_view word, const std::vector<std::string> &names) {
    constexpr size_t kLongest = 252;  // no name is half as long, and comparing takes its product of lengths
    constexpr size_t kLettersPerMistake = 3;
    size_t least = std::max<size_t>(1, word.size() / kLettersPerMistake);
    std::vector<std::string> similar;
    if (word.size() > kLongest) {
        return similar;
    }
    for (const std::string &name : names) {
        const size_t mistakes = mistakes_in(word, name);
        if (mistakes < least) {
            similar.clear();
        }
        if (mistakes <= least) {
            least = mistakes;
            similar.push_back(name);
        }
    }
    return similar;
}

std::string did_you_mean(std::string_view word, const std::vector<std::string> &names) {
    const std::vector<std::string> similar = similar_names(word, names);
    return similar.empty() ? "" : "; did you mean " + joined(similar) + "?";
}

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text.append(text.empty() ? "" : ", ").append(name);
    }
    return text;
}

namespace {

std::string joined_but_last(std::vector<std::string> names, const char *before_last) {
    const std::string last = names.back();
    names.pop_back();
    return names.empty() ? last : joined(names) + before_last + last;
}

}  // namespace

std::string alternatives(std::vector<std::string> names) { return joined_but_last(std::move(names), " or "); }

std::string only_one_of(std::vector<std::string> options) {
    return joined_but_last(std::move(options), " and ") + " exclude each other; give one of them";
}

}  // namespace command_line
