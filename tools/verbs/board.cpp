// board: serves a page that shows the chassis as it changes.
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>

#include "board/board.h"
#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "verbs/print.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

struct BoardVerb {
    std::string listen = "127.0.0.1:7080";
    bool allows_remote = false;

    int run(Session &session) const;
};

int BoardVerb::run(Session &session) const {
    const board::Address address = board::parse_address(listen);
    if (!board::is_loopback(address) && !allows_remote) {
        throw Failure(kUsage, "--listen " + listen + ": other machines could read the board; --allow-remote lets them");
    }
    board::Board board(session.store(), address);
    const std::string url = board::url_of(board.address());
    if (session.is_json()) {
        print_json({{"url", url}});
    } else {
        write_output(url + "\n");
    }
    for (;;) {
        board.process(std::chrono::milliseconds(-1));
    }
}

}  // namespace

void add_board(Verbs &verbs) {
    const auto board = std::make_shared<BoardVerb>();
    const Command command = verbs.add("board", "Serve a page that shows the chassis as it changes",
                                      "  trel_capctl board\n"
                                      "  trel_capctl board --listen 127.0.0.1:0\n"
                                      "  trel_capctl board --listen 0.0.0.0:7080 --allow-remote\n",
                                      [board](Session &session) { return board->run(session); });
    command.add_option("--listen", board->listen, "Where the page is, in place of 127.0.0.1:7080; port 0: any free one")
        .type_name("HOST:PORT");
    command.add_flag("--allow-remote", board->allows_remote, "Let --listen name an address that other machines reach");
}

}  // namespace capctl
