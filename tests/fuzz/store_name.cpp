// Names of stores.
#include "bytes.h"

#include <string>

#include "core/error.h"
#include "core/store_name.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text = fuzz::Bytes(data, size).rest();
    const auto name = mom::parse_store_name(text);
    if (!name) {
        fuzz::expect(!std::string_view(mom::last_error()).empty(), "a name that is refused has a reason");
        return 0;
    }
    for (const mom::Endpoint &endpoint : name->endpoints) {
        fuzz::expect(endpoint.path.empty() != endpoint.host.empty(), "an endpoint is a path or a host");
        fuzz::expect(!endpoint.text().empty(), "an endpoint has a text");
    }
    fuzz::expect((name->kind == mom::StoreName::Kind::kMem) == name->endpoints.empty(), "a server has an address");
    if (!name->password.empty()) {
        const size_t at = text.rfind('@');
        const std::string before(text.substr(0, text.find(':', std::string_view("redis://").size())));
        fuzz::expect(name->shown == before + (before == "redis://" ? "" : "@") + std::string(text.substr(at + 1)),
                     "the shown name is without the password");
    }
    return 0;
}
