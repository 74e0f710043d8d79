#include "teller.h"

#include <chrono>
#include <cstdarg>
#include <stdexcept>

#include "interruption.h"
#include "screen.h"

namespace demo {

void Teller::chapter(const char *title) {
    print("\n");
    print(std::to_string(++chapter_) + ". " + title + "\n");
    throw_if_unheard();
}

void Teller::line(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print("   ");
    print(format, arguments);
    print("\n");
    va_end(arguments);
}

void Teller::play(Publisher &publisher, const std::string &step) {
    throw_if_interrupted();
    throw_if_unheard();
    for (const std::string &record : publisher.play(step)) {
        line("%s published: %s", publisher.who().c_str(), record.c_str());
    }
}

void expect(bool as_told, const char *what) {
    if (!as_told) {
        throw std::runtime_error(std::string("not as told: ") + what);
    }
}

void run_until(MomClient *client, const char *what, const std::function<bool()> &condition) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!condition() && Clock::now() < deadline) {
        throw_if_interrupted();
        throw_if_unheard();
        expect(ox_mom_client_process(client, 100) >= 0, "the client's loop runs");
    }
    expect(condition(), what);
}

}  // namespace demo
