// How the story is put on the screen.
#pragma once

#include <functional>
#include <string>

#include <ox_mom.h>

#include "publisher.h"

namespace demo {

class Teller {
public:
    void chapter(const char *title);
    [[gnu::format(printf, 2, 3)]] void line(const char *format, ...);

    // Has the publisher play a step, and tells what it published.
    void play(Publisher &publisher, const std::string &step);

private:
    int chapter_ = 0;
};

// The demo is also a check: what it says must be so. Throws std::runtime_error when it is not.
void expect(bool as_told, const char *what);

// Runs the client's loop until the condition holds. That is all that an application has to do to be called back.
void run_until(MomClient *client, const char *what, const std::function<bool()> &condition);

}  // namespace demo
