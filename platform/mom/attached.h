// A descriptor that is attached to a client, on the client's side.
#pragma once

#include "attachment.h"
#include "loop.h"

namespace mom {

class Attached final : private WatchHandler {
public:
    Attached(Loop &loop, int fd, const MomAttachment &attachment);

    // It was readable when the loop ran. From then until the call the loop does not watch it: what waits for something
    // else is not woken by it over and over.
    bool ready() const { return ready_; }

    // Calls on_ready, which may destroy this. The loop has to run afterwards, to watch the descriptor again.
    void call();

    const MomAttachment &attachment() const { return attachment_; }

private:
    void on_ready(int events) override;
    void on_no_memory() noexcept override {}

    MomAttachment attachment_;
    bool ready_ = false;
    Watch watch_;
};

}  // namespace mom
