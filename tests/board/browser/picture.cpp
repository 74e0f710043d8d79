// board_picture FILE: the board of a small chassis, as README.md shows it.
#include "../board_thread.h"
#include "browser.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

#include "chassis/card.h"

namespace {

using chassis::Card;
using chassis::CardClass;

// What becomes of a card: how far it gets.
enum class Fate { kInserted, kUnchecked, kDenied, kReady, kInAdvance };

void play(store::Store &store, CardClass card_class, int32_t node, const char *name, Fate fate) {
    Card card = usual_card(card_class, node);
    card.name = name;
    store.write(card_info(card));
    if (fate == Fate::kInserted) {
        return;
    }
    store.write(node_ready(card, true, fate != Fate::kInAdvance));
    if (card_class == CardClass::kLineCard && (fate == Fate::kReady || fate == Fate::kDenied)) {
        store.write(check_result(card, fate == Fate::kReady));
    }
}

void play(store::Store &store) {
    play(store, CardClass::kControlModule, 17, "CM-A", Fate::kReady);
    play(store, CardClass::kControlModule, 18, "CM-B", Fate::kReady);
    store.write(chassis::scope_ready("cm", true));
    for (int32_t node = 33; node <= 36; ++node) {
        play(store, CardClass::kFabric, node, "FAB", node == 36 ? Fate::kInserted : Fate::kReady);
    }
    store.write(chassis::scope_ready("fab", false));
    for (const auto &[url, value] : {std::pair("/l2/vlan/count", 4094), std::pair("/l3/arp/capacity", 4096),
                                     std::pair("/l3/route/capacity", 131072)}) {
        record::Record record = record::record_at(std::string("cap_table:") + url);
        record.set("int32_value", value);
        store.write(record);
    }
    play(store, CardClass::kHps, 49, "HPS-1", Fate::kReady);
    store.write(chassis::scope_ready("hps", true));
    play(store, CardClass::kLineCard, 1, "LC-48T", Fate::kReady);
    play(store, CardClass::kLineCard, 2, "LC-48T", Fate::kReady);
    play(store, CardClass::kLineCard, 3, "LC-24Q", Fate::kDenied);
    play(store, CardClass::kLineCard, 4, "LC-24Q", Fate::kUnchecked);
    play(store, CardClass::kLineCard, 5, "LC-48T", Fate::kInAdvance);
    store.write(chassis::scope_ready("glb", true));
}

void take_picture(const char *file) {
    store::Store store("mem:picture");
    board_test::BoardThread board("mem:picture");
    board_test::Browser browser;
    browser.resize(1160, 940);
    browser.prefer("light");
    browser.open("http://127.0.0.1:" + std::to_string(board.port()) + "/");
    play(store);
    if (!browser.waits_for("document.querySelectorAll('.card').length === 12 && shown.scopes.size === 4")) {
        throw std::runtime_error("the page does not show the chassis");
    }
    browser.run("open(3); document.activeElement.blur()");
    browser.run("for (const path of ['\\nglobal', '\\nglobal\\nl3']) unfolded.add(path); drawTree(); scrollTo(0, 0)");
    if (!browser.waits_for("!document.querySelector('.fresh')")) {
        throw std::runtime_error("the page does not come to rest");
    }
    std::ofstream(file, std::ios::binary) << browser.screenshot();
}

}  // namespace

int main(int argc, char **argv) {
    try {
        if (argc != 2) {
            throw std::runtime_error("the file is expected");
        }
        take_picture(argv[1]);
        return 0;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "board_picture: %s\n", failure.what());
        return 1;
    }
}
