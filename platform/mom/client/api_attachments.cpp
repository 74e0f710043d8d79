// The functions that other libraries of the platform call: see attachment.h.
#include "client/attachment.h"

#include "client/call.h"

using namespace mom;

extern "C" {

int32_t ox_mom_attach(MomClient *client, int fd, uint32_t events, const MomAttachment *attachment) {
    return call(client, [&](Client &opened) {
        return attachment != nullptr && attachment->on_ready != nullptr
                   ? opened.attachments().attach(fd, events, *attachment)
                   : fail(OX_MOM_E_ARGUMENT, "a function to call expected");
    });
}

int32_t ox_mom_alter(MomClient *client, int fd, uint32_t events) {
    return call(client, [&](Client &opened) { return opened.attachments().alter(fd, events); });
}

int32_t ox_mom_detach(MomClient *client, int fd) {
    return call(client, [&](Client &opened) {
        opened.attachments().detach(fd);
        return 0;
    });
}

}  // extern "C"
