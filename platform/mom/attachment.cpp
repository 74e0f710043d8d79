#include "attached.h"

namespace mom {

Attached::Attached(Loop &loop, int fd, const MomAttachment &attachment)
    : attachment_(attachment), watch_(loop, fd, *this) {
    watch_.set(UV_READABLE);
}

void Attached::on_ready(int) {
    ready_ = true;
    watch_.set(0);
}

void Attached::call() {
    watch_.set(UV_READABLE);  // first: what fails is to be tried again
    ready_ = false;
    const MomAttachment attachment = attachment_;
    attachment.on_ready(attachment.arg);
}

}  // namespace mom
