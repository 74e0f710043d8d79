#include "client/attachments.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "core/error.h"

namespace mom {

namespace {

int32_t fail_to_watch(int fd) {
    const bool no_room = errno == ENOMEM || errno == ENOSPC;
    return fail(no_room ? OX_MOM_E_MEMORY : OX_MOM_E_ARGUMENT, "descriptor %d: %s", fd, strerror(errno));
}

}  // namespace

bool Attachments::Attached::watch_for(uint32_t events) {
    const uint32_t wanted = events | EPOLLERR | EPOLLHUP | EPOLLONESHOT;
    if (!watch_.try_set(wanted)) {
        return false;
    }
    wanted_ = wanted;
    set_ready(0);  // what still holds is told anew
    return true;
}

void Attachments::Attached::on_ready(uint32_t events) { set_ready(events & ~uint32_t{EPOLLONESHOT}); }

void Attachments::Attached::set_ready(uint32_t events) {
    all_.ready_ += events != 0 ? size_t{1} : 0;
    all_.ready_ -= ready_ != 0 ? size_t{1} : 0;
    ready_ = events;
}

void Attachments::Attached::tell() {
    watch_.set(wanted_);  // first: what fails is to be tried again
    const uint32_t events = ready_;
    set_ready(0);
    const MomAttachment attachment = attachment_;  // which the call may end
    attachment.on_ready(attachment.arg, events);
}

Attachments::~Attachments() {
    std::ranges::for_each(attached_, &Attached::let_go);
    while (!attached_.empty()) {
        const MomAttachment attachment = attached_.front().attachment();
        attached_.pop_front();
        if (attachment.on_destroy != nullptr) {
            attachment.on_destroy(attachment.arg);
        }
    }
}

std::list<Attachments::Attached>::iterator Attachments::find(int fd) {
    return std::ranges::find(attached_, fd, &Attached::fd);
}

int32_t Attachments::attach(int fd, uint32_t events, const MomAttachment &attachment) {
    if (find(fd) != attached_.end()) {
        return fail(OX_MOM_E_ARGUMENT, "descriptor %d is attached already", fd);
    }
    Attached &attached = attached_.emplace_back(*this, fd, attachment);
    if (attached.watch_for(events)) {
        return 0;
    }
    const int32_t code = fail_to_watch(fd);
    attached_.pop_back();
    return code;
}

int32_t Attachments::alter(int fd, uint32_t events) {
    const auto attached = find(fd);
    if (attached == attached_.end()) {
        return fail(OX_MOM_E_ARGUMENT, "descriptor %d is not attached", fd);
    }
    return attached->watch_for(events) ? 0 : fail_to_watch(fd);
}

void Attachments::detach(int fd) {
    const auto attached = find(fd);
    if (attached != attached_.end()) {
        attached_.erase(attached);
    }
}

void Attachments::tell_next() {
    const auto next = std::ranges::find_if(attached_, &Attached::is_ready);
    attached_.splice(attached_.end(), attached_, next);
    next->tell();
}

}  // namespace mom
