#include "play.h"

#include <algorithm>
#include <sstream>
#include <thread>

#include "library.h"
#include "model.h"

namespace property {
namespace {

std::optional<Disagreement> play_here(const History &history) {
    test_support::ScriptedPlatform platform;
    Library library(platform);
    Model model;
    for (size_t i = 0; i < history.size(); ++i) {
        std::string what = difference(model.play(history[i]), library.play(history[i]));
        if (!what.empty()) {
            return Disagreement{i, std::move(what)};
        }
    }
    return std::nullopt;
}

History without(const History &history, size_t first, size_t count) {
    History rest(history.begin(), history.begin() + static_cast<ptrdiff_t>(first));
    rest.insert(rest.end(), history.begin() + static_cast<ptrdiff_t>(first + count), history.end());
    return rest;
}

}  // namespace

std::optional<Disagreement> play(const History &history) {
    std::optional<Disagreement> found;
    std::thread([&] { found = play_here(history); }).join();
    return found;
}

History shrink(History history, const Player &player) {
    const auto shorten = [&](const History &candidate) {
        const auto found = player(candidate);
        if (found.has_value()) {
            history.assign(candidate.begin(), candidate.begin() + static_cast<ptrdiff_t>(found->step) + 1);
        }
        return found.has_value();
    };
    shorten(History(history));
    for (size_t count = history.size() / 2; count > 0; count /= 2) {
        for (size_t first = 0; first + count <= history.size();) {
            if (!shorten(without(history, first, count))) {
                first += count;
            }
        }
    }
    return history;
}

std::string describe(const History &history, const Disagreement &disagreement) {
    std::ostringstream out;
    for (size_t i = 0; i < history.size(); ++i) {
        out << "    " << i + 1 << ". " << history[i] << '\n';
    }
    out << "then, expected and seen differ in " << disagreement.what;
    return out.str();
}

}  // namespace property
