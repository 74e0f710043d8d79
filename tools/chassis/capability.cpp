#include "chassis/capability.h"

#include <string_view>

namespace chassis {

bool is_capability(const record::RecordType &type) {
    return !type.index_fields().empty() && std::string_view(type.index_fields().back().name) == "url";
}

bool is_node_capability(const record::RecordType &type) {
    return is_capability(type) && type.index_fields().size() > 1;
}

}  // namespace chassis
