// Releasing what the store handed out.
#include "trel_cap/records.h"
#include "trel_cap/status.h"

int32_t trel_cap_ox_obj_free(void *record) {
    return record == nullptr ? TREL_CAP_OK : ox_mom_ox_obj_free(static_cast<ProtobufCMessage *>(record));
}
