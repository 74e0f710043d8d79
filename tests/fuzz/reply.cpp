// What servers say: in one piece, and cut into some.
#include "bytes.h"

#include <string>
#include <vector>

#include "../mom/resp_bytes.h"
#include "redis/reader.h"

namespace {

using mom::redis::Reader;

// What was read until the server was found to speak something else.
std::vector<std::string> read(std::string_view bytes, size_t piece) {
    Reader reader;
    mom::Arena arena;
    std::vector<std::string> said;
    while (!bytes.empty() && !reader.is_broken()) {
        mom_test::receive(reader, bytes.substr(0, piece));
        bytes.remove_prefix(std::min(piece, bytes.size()));
        for (bool more = true; more;) {
            switch (reader.take(arena)) {
                case Reader::Item::kNotification:
                    said.push_back("told " + std::string(reader.channel()) + " " + std::string(reader.payload()));
                    break;
                case Reader::Item::kReply:
                    said.push_back(mom_test::show(reader.reply()));
                    arena.clear();
                    break;
                case Reader::Item::kBroken:
                    fuzz::expect(reader.error() != nullptr, "there is a reason");
                    more = false;
                    break;
                case Reader::Item::kNone:
                    more = false;
            }
        }
    }
    return said;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Bytes bytes(data, size);
    const size_t piece = 1 + bytes.below(40);
    const std::string_view said = bytes.rest();
    const std::vector<std::string> in_pieces = read(said, piece);
    const std::vector<std::string> as_one = read(said, said.size());
    // What is no reply may be found earlier in one way than in the other.
    const size_t both = std::min(in_pieces.size(), as_one.size());
    fuzz::expect(std::equal(in_pieces.begin(), in_pieces.begin() + static_cast<std::ptrdiff_t>(both), as_one.begin()),
                 "pieces come to the same");
    return 0;
}
