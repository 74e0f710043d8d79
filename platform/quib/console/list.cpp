#include "list.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "command_line/text.h"

namespace console {

using namespace command_line;

namespace {

using Json = nlohmann::ordered_json;
using Row = std::array<std::string, 3>;

Row row_of(const Module &module) {
    const auto cell = [](const std::string &text) { return text.empty() ? "-" : masked(text); };
    return {cell(module.name), module.process == 0 ? "-" : std::to_string(module.process), cell(module.program)};
}

std::string padded(const std::string &text, size_t width) { return text + std::string(width - text.size(), ' '); }

Json as_json(const Module &module) {
    Json line = {{"module", module.name}, {"pid", nullptr}, {"program", nullptr}};
    if (module.process != 0) {
        line["pid"] = module.process;
        line["program"] = module.program;
    }
    return line;
}

}  // namespace

std::string as_table(const std::vector<Module> &modules) {
    std::vector<Row> rows = {{"MODULE", "PID", "PROGRAM"}};
    for (const Module &module : modules) {
        rows.push_back(row_of(module));
    }
    size_t widths[2] = {};
    for (const Row &row : rows) {
        widths[0] = std::max(widths[0], row[0].size());
        widths[1] = std::max(widths[1], row[1].size());
    }
    std::string table;
    for (const Row &row : rows) {
        table += padded(row[0], widths[0]) + "  " + padded(row[1], widths[1]) + "  " + row[2] + "\n";
    }
    return table;
}

std::string as_json(const std::vector<Module> &modules) {
    std::string lines;
    for (const Module &module : modules) {
        lines += as_json(module).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }
    return lines;
}

}  // namespace console
