#include "verbs/print.h"

#include <trel_cap/records.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "record/record_text.h"

namespace capctl {

using namespace command_line;
using record::Record;
using record::View;

namespace {

void append_text_line(std::string &text, const View &record) {
    const std::string values = assignments(record);
    text += on_one_line(record.key()) + (values.empty() ? "" : " " + values) + "\n";
}

// Records of a type under the names of those fields that one of them has.
std::string table_of(std::vector<const Record *>::const_iterator first,
                     std::vector<const Record *>::const_iterator last) {
    std::vector<std::string> paths;
    std::vector<std::vector<record::FieldText>> values;
    std::transform(first, last, std::back_inserter(values), [](const Record *each) { return field_texts(*each); });
    for (const auto &of_record : values) {
        for (const record::FieldText &field : of_record) {
            if (std::find(paths.begin(), paths.end(), field.path) == paths.end()) {
                paths.push_back(field.path);
            }
        }
    }
    std::vector<Row> rows(1);
    rows[0].push_back(std::string((*first)->type().name()) + "  ");
    std::transform(paths.begin(), paths.end(), std::back_inserter(rows[0]),
                   [](const std::string &path) { return path + "  "; });
    for (size_t i = 0; i < values.size(); ++i) {
        const std::string key = first[static_cast<ptrdiff_t>(i)]->key();
        const size_t colon = key.find(':');
        Row row(1 + paths.size());
        row[0] = on_one_line(colon == std::string::npos ? "-" : key.substr(colon + 1)) + "  ";
        for (const record::FieldText &field : values[i]) {
            const auto column = std::find(paths.begin(), paths.end(), field.path) - paths.begin();
            row[static_cast<size_t>(column) + 1] = field.text + "  ";
        }
        rows.push_back(std::move(row));
    }
    return table(rows);
}

std::string tables_of(const std::vector<const Record *> &records) {
    std::string text;
    for (auto first = records.begin(); first != records.end();) {
        const auto last =
            std::find_if(first, records.end(), [&](const Record *each) { return &each->type() != &(*first)->type(); });
        text += (text.empty() ? "" : "\n") + table_of(first, last);
        first = last;
    }
    return text;
}

}  // namespace

void print_json(const nlohmann::ordered_json &value) { write_output(record::json_line(value)); }

void print_list(const Session &session, const nlohmann::ordered_json &array) {
    if (session.format == Format::kJson) {
        print_json(array);
        return;
    }
    std::string lines;
    for (const auto &element : array) {
        lines += record::json_line(element);
    }
    write_output(lines);
}

void print_records(const Session &session, const std::vector<const Record *> &records) {
    if (session.format == Format::kTable) {
        write_output(tables_of(records));
        return;
    }
    std::string lines;
    for (const Record *record : records) {
        append_line(session, lines, *record);
    }
    print_lines(session, std::move(lines));
}

void append_line(const Session &session, std::string &lines, const View &record) {
    if (session.is_json()) {
        append_record_line(lines, record);
    } else {
        append_text_line(lines, record);
    }
}

void print_lines(const Session &session, std::string lines) {
    if (session.format == Format::kJson) {  // in which a line's end is the only one
        std::replace(lines.begin(), lines.end(), '\n', ',');
        lines.insert(lines.begin(), '[');
        lines.resize(std::max<size_t>(lines.size() - 1, 1));
        lines += "]\n";
    }
    write_output(lines);
}

void print_written(const Session &session, const Record &record) {
    if (session.is_json()) {
        write_output(record_line(record));
    } else if (session.format == Format::kTable) {
        print_records(session, {&record});
    }
}

const char *capability_label(int32_t field) {
    constexpr int32_t kPriField = 21;
    switch (field) {
        case TREL_CAP_FIELD_BOOL:
            return "bool";
        case TREL_CAP_FIELD_INT32:
            return "int32";
        case TREL_CAP_FIELD_STR:
            return "string";
        case kPriField:
            return "pri";
        case TREL_CAP_FIELD_STATE:
            return "state";
        default:
            return nullptr;
    }
}

}  // namespace capctl
