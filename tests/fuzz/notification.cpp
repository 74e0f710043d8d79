// Notifications, as they come from a server.
#include "bytes.h"

#include <string>

#include "records/notification.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text = fuzz::Bytes(data, size).rest();
    mom::Notification notification;
    if (!mom::decode_notification(text, notification)) {
        return 0;
    }
    const bool is_hash = !notification.fields.empty();
    const std::string again =
        is_hash ? mom::encode_notification(notification.cmd, notification.written, notification.fields)
                : mom::encode_object_notification(notification.cmd, notification.bytes);
    mom::Notification same;
    fuzz::expect(mom::decode_notification(again, same), "what was decoded can be encoded");
    fuzz::expect(same.cmd == notification.cmd && same.fields.size() == notification.fields.size(),
                 "what was encoded decodes to the same");
    for (size_t i = 0; i < same.fields.size(); ++i) {
        fuzz::expect(same.fields[i].number == notification.fields[i].number &&
                         same.fields[i].value == notification.fields[i].value,
                     "so do its fields");
    }
    fuzz::expect(mom::is_same_record(notification.bytes, notification.bytes), "a record is the same as itself");
    return 0;
}
