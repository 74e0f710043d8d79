#include "store.h"

namespace mom {

std::string channel_of(int32_t db, std::string_view type_or_key) {
    return std::string("mom:").append(std::to_string(db)).append(":").append(type_or_key);
}

}  // namespace mom
