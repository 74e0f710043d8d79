#include "step.h"

#include <array>
#include <ostream>
#include <random>

namespace histories {

History random_history(uint64_t seed) {
    std::mt19937_64 random(seed);
    const auto between = [&random](int lowest, int highest) {
        return std::uniform_int_distribution<int>(lowest, highest)(random);
    };
    History history;
    for (int length = between(15, 40); length > 0; --length) {
        const bool is_fault = between(1, 100) <= 12;
        const auto what = static_cast<Step::What>(is_fault ? between(static_cast<int>(Step::What::kCut), kKinds - 1)
                                                           : between(0, static_cast<int>(Step::What::kSettle)));
        history.push_back({.what = what, .number = between(0, 999)});
    }
    return history;
}

std::ostream &operator<<(std::ostream &out, const Step &step) {
    constexpr std::array<const char *, kKinds> kWords = {"bring up card",
                                                         "unready card",
                                                         "deny card",
                                                         "pull card",
                                                         "change the capability",
                                                         "the application writes",
                                                         "settle",
                                                         "cut all connections",
                                                         "cut within so many bytes:",
                                                         "cut before the next answer",
                                                         "kill the link",
                                                         "kill request connections",
                                                         "restart the server",
                                                         "restart the server empty",
                                                         "flush"};
    out << kWords.at(static_cast<size_t>(step.what));
    if (step.what <= Step::What::kPull) {
        out << ' ' << step.number % kCards;
    } else if (step.what == Step::What::kCutWithin) {
        out << ' ' << step.number;
    }
    return out;
}

std::ostream &operator<<(std::ostream &out, const History &history) {
    int number = 0;
    for (const Step &step : history) {
        out << "    " << ++number << ". " << step << '\n';
    }
    return out;
}

}  // namespace histories
