#include "record/record_type.h"

#include <trel_cap/records.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"

namespace record {

using namespace command_line;

namespace {

constexpr RecordType kTypes[] = {
    {&card_info__descriptor, TREL_CAP_DB_CARDS},
    {&card_static_info__descriptor, TREL_CAP_DB_CARDS},
    {&app_df_card_deny_check_result__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_fe_ready__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_cm_ready__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_cm_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_fab_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_hps_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_table__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_cm_table__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_fab_table__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_hps_table__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_glb_table__descriptor, TREL_CAP_DB_CAPABILITIES},
    {&cap_cm_glb_table__descriptor, TREL_CAP_DB_CAPABILITIES},
};

}  // namespace

std::string_view RecordType::name() const {
    const std::string_view full = full_name();
    return full.substr(full.rfind('.') + 1);
}

const ProtobufCFieldDescriptor *RecordType::index() const {
    const auto *field = protobuf_c_message_descriptor_get_field(descriptor, kIndexField);
    return field != nullptr && field->type == PROTOBUF_C_TYPE_MESSAGE ? field : nullptr;
}

std::span<const ProtobufCFieldDescriptor> RecordType::index_fields() const {
    const ProtobufCFieldDescriptor *field = index();
    if (field == nullptr) {
        return {};
    }
    const auto *of_index = static_cast<const ProtobufCMessageDescriptor *>(field->descriptor);
    return {of_index->fields, of_index->n_fields};
}

std::span<const RecordType> record_types() { return kTypes; }

const RecordType *find_type(std::string_view name) {
    const auto *type = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const RecordType &each) {
        return name == each.name() || name == each.full_name() || name == each.descriptor->c_name;
    });
    return type == std::end(kTypes) ? nullptr : type;
}

const RecordType &type_named(std::string_view name) {
    const RecordType *type = find_type(name);
    if (type == nullptr) {
        throw Failure(kUsage, quote(name) + ": no such record type" + did_you_mean(name, type_names()));
    }
    return *type;
}

const RecordType &type_of(const ProtobufCMessageDescriptor &descriptor) {
    const auto *type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                    [&](const RecordType &each) { return each.descriptor == &descriptor; });
    if (type == std::end(kTypes)) {
        throw std::logic_error(std::string(descriptor.name) + " is no type of the store's");
    }
    return *type;
}

std::vector<std::string> type_names() {
    std::vector<std::string> names;
    std::transform(std::begin(kTypes), std::end(kTypes), std::back_inserter(names),
                   [](const RecordType &each) { return std::string(each.name()); });
    return names;
}

}  // namespace record
