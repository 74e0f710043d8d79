// board: serves a page that shows the chassis as it changes.
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>

#include "board/board.h"
#include "board/show.h"
#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "scenario/scenario.h"
#include "scenario/shipped.h"
#include "verbs/play_speed.h"
#include "verbs/print.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

struct BoardVerb {
    std::string listen = "127.0.0.1:7080";
    bool allows_remote = false;
    std::string scenario;  // to play; empty: none
    std::string speed;     // empty: as it was written
    bool loops = false;
    Command command;

    int run(Session &session) const;

private:
    board::Address address() const;
    [[noreturn]] void play(const Session &session) const;
};

board::Address BoardVerb::address() const {
    board::Address address = board::parse_address(listen);
    if (!board::is_loopback(address) && !allows_remote) {
        throw Failure(kUsage, "--listen " + listen + ": other machines could read the board; --allow-remote lets them");
    }
    return address;
}

void print_url(const Session &session, const board::Board &board) {
    const std::string url = board::url_of(board.address());
    if (session.is_json()) {
        print_json({{"url", url}});
    } else {
        write_output(url + "\n");
    }
}

[[noreturn]] void serve_for_ever(board::Board &board) {
    for (;;) {
        board.process(std::chrono::milliseconds(-1));
    }
}

// Over a store of its own, that nobody else reaches.
void BoardVerb::play(const Session &session) const {
    if (session.is_store_given()) {
        throw Failure(kUsage, "--store: --play has a store of its own; trel_capctl play writes into another");
    }
    const board::Showing showing = {.speed = speed.empty() ? 1 : parse_speed(speed), .loops = loops};
    const scenario::Scenario played = scenario::read_file(scenario::find_file(scenario));
    store::Store store("mem:board");
    board::Board board(store, address());
    print_url(session, board);
    show(board, store, played, showing);
    serve_for_ever(board);
}

int BoardVerb::run(Session &session) const {
    session.prints_only("board", {Format::kText, Format::kJson, Format::kNdjson});
    if (!scenario.empty()) {
        play(session);
    }
    command.refuse({"--speed", "--loop"}, "--play is missing, with the scenario to play");
    const board::Address its_address = address();
    board::Board board(session.store(), its_address);
    print_url(session, board);
    serve_for_ever(board);
}

}  // namespace

void add_board(Verbs &verbs) {
    const auto board = std::make_shared<BoardVerb>();
    const Command command = verbs.add("board", "Serve a page that shows the chassis as it changes",
                                      "  trel_capctl board               # until Ctrl-C\n"
                                      "  trel_capctl board --play boot --loop\n"
                                      "  trel_capctl board --listen 127.0.0.1:0\n"
                                      "  trel_capctl board --listen 0.0.0.0:7080 --allow-remote\n"
                                      "  curl -s http://127.0.0.1:7080/state | jq .cards\n",
                                      [board](Session &session) { return board->run(session); });
    board->command = command;
    command.add_option("--listen", board->listen, "Where the page is, in place of 127.0.0.1:7080; port 0: any free one")
        .type_name("HOST:PORT")
        .may_be_empty();
    command.add_flag("--allow-remote", board->allows_remote, "Let --listen name an address that other machines reach");
    command
        .add_option("--play", board->scenario,
                    "Show this scenario, a file or a name of play --list; no store is needed")
        .type_name("SCENARIO");
    command.add_option("--speed", board->speed, "With --play: 2 plays in half the time; 0 or max: without waiting")
        .type_name("X");
    command.add_flag("--loop", board->loops, "With --play: again and again, each time afresh");
}

}  // namespace capctl
