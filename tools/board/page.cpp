#include "board/page.h"

#include <array>
#include <string_view>
#include <sys/random.h>

#include "command_line/exit_status.h"
#include "command_line/text.h"

// The file itself, put here by the assembler.
__asm__(".pushsection .rodata\n"
        "board_page_begin:\n"
        ".incbin \"" BOARD_PAGE "\"\n"
        "board_page_end:\n"
        ".popsection\n");
extern const char board_page_begin[];  // NOLINT(readability-identifier-naming): a label of the assembler's
extern const char board_page_end[];    // NOLINT(readability-identifier-naming)

namespace board {

namespace {

constexpr std::string_view kMark = "@nonce@";

}  // namespace

std::string page(const std::string &nonce) {
    std::string text(board_page_begin, board_page_end);
    for (size_t at = text.find(kMark); at != std::string::npos; at = text.find(kMark, at)) {
        text.replace(at, kMark.size(), nonce);
    }
    return text;
}

std::string page_policy(const std::string &nonce) {
    const std::string own = "'nonce-" + nonce + "'";
    return "default-src 'none'; script-src " + own + "; style-src " + own +
           "; connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
}

std::string new_nonce() {
    std::array<char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw command_line::Failure(command_line::kFailed, "the system gives no random bytes");
    }
    return command_line::hex({bytes.data(), bytes.size()});
}

}  // namespace board
