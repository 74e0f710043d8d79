#include "report.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace reliability {

namespace {

constexpr const char *kBegin = "<!-- made by reliability_test --write -->\n";
constexpr const char *kEnd = "<!-- end -->\n";
constexpr const char *kHead = "| the fault | read | write | known | logged | told | in step |\n"
                              "|---|---|---|---|---|---|---|\n";
constexpr const char *kNothing = "–";

// Of a row's cells.
enum Column : size_t { kTitle, kRead, kWrite, kKnown, kLogged, kTold, kInStep, kColumns };

// Classes that the same fault is in on any machine that is not overburdened.
std::string class_of(milliseconds time) {
    constexpr std::array<std::pair<milliseconds, const char *>, 3> kClasses = {
        {{milliseconds(100), "at once"}, {milliseconds(1000), "within 1 s"}, {milliseconds(5000), "within 5 s"}}};
    for (const auto &[bound, name] : kClasses) {
        if (time < bound) {
            return name;
        }
    }
    return "within 20 s";
}

// The lines that have been told of so far, and the number of each.
class Legend {
public:
    std::string numbers_of(const std::vector<std::string> &lines) {
        std::string text;
        for (const std::string &line : lines) {
            auto found = std::find(lines_.begin(), lines_.end(), line);
            if (found == lines_.end()) {
                found = lines_.insert(found, line);
            }
            text += (text.empty() ? "" : ", ") + std::to_string(found - lines_.begin() + 1);
        }
        return text.empty() ? kNothing : text;
    }

    std::string text() const {
        std::string text;
        for (size_t i = 0; i < lines_.size(); ++i) {
            text += std::to_string(i + 1) + ". `" + lines_[i] + "`\n";
        }
        return text;
    }

private:
    std::vector<std::string> lines_;
};

std::string contents_of(const std::string &path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

// Where the table is in the document.
std::pair<size_t, size_t> place_in(const std::string &text) {
    const size_t begin = text.find(kBegin);
    const size_t end = text.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        throw std::runtime_error("the document has no place for the table");
    }
    return {begin + std::char_traits<char>::length(kBegin), end};
}

std::vector<std::string> cells_of(const std::string &line) {
    std::vector<std::string> cells;
    constexpr std::string_view kBetween = " | ";
    for (size_t at = 2; at < line.size();) {
        const size_t end = std::min(line.find(kBetween, at), line.size() - 2);
        cells.push_back(line.substr(at, end - at));
        at = end + kBetween.size();
    }
    return cells;
}

// "3. `the line`"
void read_line(const std::string &text, std::map<std::string, std::string> &legend) {
    const size_t dot = text.find(". `");
    if (dot != std::string::npos) {
        legend[text.substr(0, dot)] = text.substr(dot + 3, text.size() - dot - 4);
    }
}

std::vector<std::string> lines_of(const std::string &numbers, const std::map<std::string, std::string> &legend) {
    std::vector<std::string> lines;
    std::istringstream words(numbers == kNothing ? "" : numbers);
    for (std::string number; std::getline(words >> std::ws, number, ',');) {
        lines.push_back(legend.at(number));
    }
    return lines;
}

bool was_got_over(const Fault &fault, const Finding &finding) {
    return finding.is_known && finding.is_in_step && finding.read == fault.read && finding.write == fault.write;
}

std::string line_of(const Fault &fault, const Finding &finding, Legend &legend) {
    const Row row = row_of(finding);
    const bool is_noticed = fault.sign == Fault::Sign::kLoss || finding.read != 0 || finding.write != 0;
    std::string line = "|";
    for (const std::string &cell :
         {fault.title, row.read, row.write, is_noticed ? class_of(finding.until_known) : std::string(kNothing),
          legend.numbers_of(row.lines), row.told, class_of(finding.until_in_step)}) {
        line += " " + cell + " |";
    }
    return line + "\n";
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const Row &row) {
    out << "read " << row.read << ", write " << row.write << ", told: " << row.told << "; logged:";
    for (const std::string &line : row.lines) {
        out << "\n  " << line;
    }
    return out;
}

Row row_of(const Finding &finding) {
    return {.read = std::to_string(finding.read),
            .write = std::to_string(finding.write),
            .lines = finding.lines,
            .told = finding.told.empty() ? kNothing : finding.told};
}

std::map<std::string, Row> rows_in(const std::string &document) {
    const std::string text = contents_of(document);
    const auto [begin, end] = place_in(text);
    std::istringstream table(text.substr(begin, end - begin));
    std::map<std::string, std::string> legend;
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(table, line);) {
        if (!line.starts_with("|")) {
            read_line(line, legend);
        } else if (auto cells = cells_of(line); cells.size() == kColumns && cells[kRead] != "read") {
            rows.push_back(std::move(cells));
        }
    }
    std::map<std::string, Row> found;
    for (const auto &cells : rows) {
        found[cells[kTitle]] = {cells[kRead], cells[kWrite], lines_of(cells[kLogged], legend), cells[kTold]};
    }
    return found;
}

bool write_table(const std::string &document) {
    std::string text = contents_of(document);
    const auto [begin, end] = place_in(text);
    Legend legend;
    std::string table = kHead;
    bool all_are_got_over = true;
    for (const Fault &fault : all_faults()) {
        const Finding finding = try_out(fault, "redis-server");
        const bool is_got_over = was_got_over(fault, finding);
        std::cout << (is_got_over ? "" : "NOT GOT OVER: ") << fault.title << '\n' << finding.difference << std::flush;
        all_are_got_over = all_are_got_over && is_got_over;
        table += line_of(fault, finding, legend);
    }
    text.replace(begin, end - begin, "\n" + table + "\nLogged, by number:\n\n" + legend.text() + "\n");
    if (all_are_got_over) {
        std::ofstream(document) << text;
    }
    return all_are_got_over;
}

}  // namespace reliability
