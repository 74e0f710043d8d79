// The descriptors that are attached to a client, on the client's side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

#include "client/attachment.h"
#include "core/loop.h"

namespace mom {

class Attachments {
public:
    explicit Attachments(Loop &loop) : loop_(loop) {}
    Attachments(const Attachments &) = delete;
    Attachments &operator=(const Attachments &) = delete;
    // Lets go of all of them, then tells those who want to know.
    ~Attachments();

    // These return 0 or a code, with the reason in last_error(), and throw std::bad_alloc.
    int32_t attach(int fd, uint32_t events, const MomAttachment &attachment);
    int32_t alter(int fd, uint32_t events);
    void detach(int fd);

    // How many are ready and have not been told.
    size_t ready() const { return ready_; }

    // Tells one of them, those in turn that are ready again and again. What is called may attach and detach any.
    void tell_next();

private:
    class Attached final : private WatchHandler {
    public:
        Attached(Attachments &all, int fd, const MomAttachment &attachment)
            : all_(all), attachment_(attachment), watch_(all.loop_, fd, *this) {}
        Attached(const Attached &) = delete;
        Attached &operator=(const Attached &) = delete;
        ~Attached() { set_ready(0); }

        int fd() const { return watch_.fd(); }
        bool is_ready() const { return ready_ != 0; }
        const MomAttachment &attachment() const { return attachment_; }

        // False, and errno tells why, when that cannot be.
        bool watch_for(uint32_t events);
        void let_go() { watch_.set(0); }
        void tell();

    private:
        void on_ready(uint32_t events) override;
        void on_no_memory() noexcept override {}
        void set_ready(uint32_t events);

        Attachments &all_;
        MomAttachment attachment_;
        uint32_t wanted_ = 0;
        // Why it was ready when the loop ran. From then until it is told the loop tells of it no more: a request
        // that waits for something else is not woken by it over and over.
        uint32_t ready_ = 0;
        Watch watch_;
    };

    std::list<Attached>::iterator find(int fd);

    Loop &loop_;
    std::list<Attached> attached_;
    size_t ready_ = 0;
};

}  // namespace mom
