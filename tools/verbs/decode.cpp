// decode: bytes that were stored, as a record.
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/text.h"
#include "record/field_text.h"
#include "record/record_json.h"
#include "verbs/input.h"
#include "verbs/print.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;
using record::RecordType;

namespace {

struct Decode {
    std::string type;
    std::string file = "-";
    bool is_hex = false;

    int run(Session &session) const;
};

std::string without_blanks(const std::string &text) {
    std::string kept;
    for (const char c : text) {
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t') {
            kept += c;
        }
    }
    return kept;
}

// The numbers of the fields in an encoding that decodes, ascending.
std::vector<int32_t> field_numbers(const std::string &bytes) {
    std::vector<int32_t> numbers;
    const auto varint = [&bytes](size_t &at) {
        uint64_t value = 0;
        for (unsigned shift = 0; at < bytes.size(); shift += 7) {
            const auto byte = static_cast<unsigned char>(bytes[at++]);
            value |= shift < 64 ? uint64_t{byte & 0x7FU} << shift : 0;
            if ((byte & 0x80U) == 0) {
                break;
            }
        }
        return value;
    };
    for (size_t at = 0; at < bytes.size();) {
        const uint64_t tag = varint(at);
        numbers.push_back(static_cast<int32_t>(tag >> 3U));
        switch (tag & 7U) {
            case 0:
                varint(at);
                break;
            case 1:
                at += 8;
                break;
            case 2: {
                const uint64_t length = varint(at);
                at += static_cast<size_t>(length);
                break;
            }
            default:
                at += 4;
                break;
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

Record decoded(const RecordType &type, const std::string &bytes) {
    const record::Message message(protobuf_c_message_unpack(type.descriptor, nullptr, bytes.size(),
                                                            reinterpret_cast<const uint8_t *>(bytes.data())));
    if (!message) {
        throw Failure(kUnreadable,
                      "the " + std::to_string(bytes.size()) + " bytes are no " + std::string(type.full_name()));
    }
    const std::vector<int32_t> numbers = field_numbers(bytes);
    return Record(record::View(type, *message, numbers));
}

int Decode::run(Session &session) const {
    const RecordType &its_type = record::type_named(type);
    const std::string input = read_input(file);
    const std::string bytes = is_hex ? record::parse_hex("--hex", without_blanks(input)) : input;
    const Record record = decoded(its_type, bytes);
    if (session.is_json()) {
        print_json(to_json(record));
    } else {
        print_records(session, {&record});
    }
    return kDone;
}

}  // namespace

void add_decode(Verbs &verbs) {
    const auto decode = std::make_shared<Decode>();
    const Command command = verbs.add("decode", "Print the record that is encoded in bytes",
                                      "  trel_capctl decode cap_fe_ready record.bin\n"
                                      "  trel_capctl decode cap_glb_state --output json < record.bin\n"
                                      "  echo 2a04 0803 1004 3001 | trel_capctl decode cap_fe_ready --hex\n",
                                      [decode](Session &session) { return decode->run(session); });
    command.add_option("TYPE", decode->type, "The record's type, as in its key").required();
    command.add_option("FILE", decode->file, "Where the bytes are; - is standard input, as is none");
    command.add_flag("--hex", decode->is_hex, "They are written in hexadecimal digits");
}

}  // namespace capctl
