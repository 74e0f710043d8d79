// The text of a notification: "CMD WRITTEN FIELDS\n" and the record's bytes. WRITTEN is the numbers of the fields that
// were written, FIELDS number:length of every field present; "-" stands for none. The server's scripts write the same.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store.h"

namespace mom {

struct Notice {
    int32_t cmd = 0;
    std::string_view written = {};  // numbers, comma between them
    std::string_view bytes = {};    // a single object's
    StoredFields fields = {};       // a hash's
};

std::string write_notice(int32_t cmd, std::string_view written, const StoredFields &fields);
std::string write_object_notice(int32_t cmd, std::string_view bytes);

// False when the text is none.
bool read_notice(std::string_view text, Notice &notice);

bool notice_names(const Notice &notice, int32_t field);

}  // namespace mom
