// The library on a scripted platform, played a history step by step.
#pragma once

#include "history.h"
#include "outcome.h"
#include "scripted_platform.h"

namespace property {

// The calling thread's library, from the thread's start on: one for each thread.
class Library {
public:
    explicit Library(test_support::ScriptedPlatform &platform);
    ~Library();
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    Outcome play(const Step &step);

private:
    int32_t act(const Deliver &action);
    int32_t act(const DeliverNothing &action);
    int32_t act(const ClearValidated &action);
    int32_t act(const Reconnect &action);
    int32_t act(const AskForEvents &action);
    int32_t act(const Add &action);
    int32_t act(const Delete &action);

    void script(const Step &step);

    test_support::ScriptedPlatform &platform_;
};

}  // namespace property
