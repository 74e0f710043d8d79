#include "list.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "command_line/text.h"

namespace console {

using namespace command_line;

namespace {

using Json = nlohmann::ordered_json;

Row row_of(const Module &module) {
    const auto cell = [](const std::string &text) { return text.empty() ? "-" : masked(text); };
    return {cell(module.name), module.process == 0 ? "  -" : "  " + std::to_string(module.process),
            "  " + cell(module.program)};
}

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
    std::vector<Row> rows = {{"MODULE", "  PID", "  PROGRAM"}};
    std::transform(modules.begin(), modules.end(), std::back_inserter(rows), row_of);
    return table(rows);
}

std::string as_json(const std::vector<Module> &modules) {
    std::string lines;
    for (const Module &module : modules) {
        lines += as_json(module).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }
    return lines;
}

}  // namespace console
