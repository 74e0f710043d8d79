// The page, in a browser.
#include "../board_thread.h"
#include "browser.h"
#include "redis_server.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <optional>

#include "chassis/card.h"

namespace board_test {

namespace {

using chassis::Card;
using chassis::CardClass;
using chassis::usual_card;

class Page : public testing::Test {
protected:
    explicit Page(std::string store_name = "mem:page") : store_name_(std::move(store_name)), store_(store_name_) {}

    void SetUp() override {
        board_.emplace(store_name_);
        browser_.open("http://127.0.0.1:" + std::to_string(board_->port()) + "/");
        ASSERT_TRUE(browser_.waits_for("document.body.dataset.link === 'up'"));
    }

    // A script's error, and what the policy keeps out, is told there. Not of pages whose board goes away.
    void TearDown() override {
        if (board_) {
            EXPECT_EQ(browser_.complaints(), nlohmann::json::array());
        }
    }

    store::Store &store() { return store_; }
    Browser &browser() { return browser_; }
    std::optional<BoardThread> &board() { return board_; }

    void insert(const Card &card) { store_.write(card_info(card)); }
    void check(const Card &card, bool passed) { store_.write(check_result(card, passed)); }
    void node(const Card &card, bool ready, bool real_time = true) { store_.write(node_ready(card, ready, real_time)); }
    void capability(const std::string &url, int value) {
        record::Record record = record::record_at("cap_table:" + url);
        record.set("int32_value", value);
        store_.write(record);
    }
    // By word, by shape, and so that listeners are told it.
    bool shows(int32_t node_number, const std::string &state) {
        std::string slug = state;
        std::replace(slug.begin(), slug.end(), ' ', '-');
        const std::string card = ".card[data-node='" + std::to_string(node_number) + "']";
        return browser_.waits_for("document.querySelector(\"" + card + "[data-state='" + state +
                                  "'] use[href='#shape-" + slug + "']\")?.closest('.card').innerText.includes('" +
                                  state + "')");
    }
    bool focus_is_in(const std::string &selector) {
        return browser_.waits_for("document.activeElement.matches(\"" + selector + "\")");
    }

private:
    std::string store_name_;
    store::Store store_;
    std::optional<BoardThread> board_;
    Browser browser_;
};

TEST_F(Page, ShowsEachStateOfACardInWordAndShape) {
    const Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    EXPECT_TRUE(shows(3, "not ready"));
    node(card, true);
    check(card, false);
    EXPECT_TRUE(shows(3, "denied"));
    check(card, true);
    EXPECT_TRUE(shows(3, "ready"));
    node(card, true, false);
    EXPECT_TRUE(shows(3, "not ready"));
    store().write(chassis::scope_ready("glb", true));
    EXPECT_TRUE(shows(3, "ready in advance"));
    EXPECT_TRUE(browser().waits_for("document.querySelector('[data-scope=glb][data-state=ready]')"));
    store().remove(card_info(card));
    EXPECT_TRUE(shows(3, "not installed"));
    store().remove(check_result(card, true));
    store().remove(node_ready(card, true, true));
    EXPECT_TRUE(browser().waits_for("!document.querySelector('.card')"));
    EXPECT_TRUE(browser().waits_for("document.querySelector('#lines').innerText.includes('the card was removed')"));
    EXPECT_GE(browser().value_of("document.querySelectorAll('#lines [data-kind=state]').length").get<int>(), 6);
}

TEST_F(Page, ShowsCardsByClassAndInTheOrderOfTheirSlots) {
    for (const CardClass card_class :
         {CardClass::kHps, CardClass::kControlModule, CardClass::kFabric, CardClass::kLineCard}) {
        for (const int32_t slot : {10, 9}) {
            const int32_t number = 20 * static_cast<int32_t>(card_class) + slot;
            insert(usual_card(card_class, number));
        }
    }
    EXPECT_TRUE(browser().waits_for("document.querySelectorAll('.card').length === 8"));
    EXPECT_EQ(browser().value_of("[...document.querySelectorAll('.row')].map(row => row.dataset.class)"),
              nlohmann::json({"lc", "fab", "cm", "hps"}));
    EXPECT_EQ(browser().value_of("[...document.querySelectorAll('.card')].map(card => +card.dataset.node)"),
              nlohmann::json({9, 10, 29, 30, 49, 50, 69, 70}));
}

TEST_F(Page, ExplainsACardOnAClick) {
    const Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    ASSERT_TRUE(shows(3, "not ready"));
    browser().run("document.querySelector('.card').click()");
    EXPECT_TRUE(browser().waits_for("document.querySelector('#why-title').textContent === 'Node 3: not ready'"));
    EXPECT_EQ(browser().value_of("document.querySelector('[data-condition=installed]').dataset.met"), "true");
    EXPECT_EQ(browser().value_of("document.querySelector('[data-condition=checked]').dataset.met"), "false");
    check(card, true);
    EXPECT_TRUE(browser().waits_for("document.querySelector('[data-condition=checked]').dataset.met === 'true'"));
}

TEST_F(Page, WorksByKeyboard) {
    for (const int32_t number : {1, 2, 3}) {
        insert(usual_card(CardClass::kLineCard, number));
    }
    capability("/l3/arp", 5);
    ASSERT_TRUE(shows(3, "not ready"));
    browser().press(keys::kTab);
    EXPECT_TRUE(focus_is_in(".skip"));
    browser().press(keys::kTab);
    EXPECT_TRUE(focus_is_in(".card[data-node='1']"));
    browser().press(keys::kRight);
    EXPECT_TRUE(focus_is_in(".card[data-node='2']"));
    // Where the focus is stays there while the card changes.
    node(usual_card(CardClass::kLineCard, 2), true);
    check(usual_card(CardClass::kLineCard, 2), true);
    EXPECT_TRUE(shows(2, "ready"));
    EXPECT_TRUE(focus_is_in(".card[data-node='2']"));
    browser().press(keys::kEnter);
    EXPECT_TRUE(focus_is_in("#why-title"));
    EXPECT_EQ(browser().value_of("document.querySelector('#why-title').textContent"), "Node 2: ready");
    browser().press(keys::kEscape);
    EXPECT_TRUE(focus_is_in(".card[data-node='2']"));
    EXPECT_EQ(browser().value_of("document.querySelector('#why').hidden"), true);
    browser().press(keys::kTab);
    EXPECT_TRUE(focus_is_in("#search")) << "one card takes part in the order of focus";
    browser().press(keys::kTab);
    EXPECT_TRUE(focus_is_in("[role=treeitem]"));
    browser().press(keys::kRight);
    browser().press(keys::kDown);
    EXPECT_TRUE(focus_is_in("[role=treeitem][aria-level='2'][aria-expanded=false]"));
    browser().press(keys::kEnter);
    browser().press(keys::kDown);
    EXPECT_TRUE(focus_is_in("[role=treeitem][aria-level='3']"));
    EXPECT_EQ(browser().value_of("document.activeElement.innerText").get<std::string>().find("arp"), 0);
    browser().press(keys::kLeft);
    EXPECT_TRUE(focus_is_in("[role=treeitem][aria-level='2'][aria-expanded=true]"));
}

TEST_F(Page, SearchesTheCapabilities) {
    for (int i = 0; i < 3000; ++i) {
        capability("/many/" + std::to_string(i % 30) + "/" + std::to_string(i), i);
    }
    capability("/l3/arp/capacity", 4096);
    EXPECT_TRUE(browser().waits_for("shown.capabilities.size === 3001"));
    browser().run("document.body.focus()");
    browser().press("/");
    EXPECT_TRUE(focus_is_in("#search"));
    browser().type("arp");
    EXPECT_TRUE(browser().waits_for("document.querySelectorAll('#tree [role=treeitem]').length === 4"));
    EXPECT_TRUE(browser().waits_for("document.querySelector('#tree').innerText.includes('int32_value = 4096')"));
    capability("/l3/arp/capacity", 8192);
    EXPECT_TRUE(browser().waits_for("document.querySelector('#tree').innerText.includes('int32_value = 8192')"));
    browser().press(keys::kEscape);
    browser().type("many");
    EXPECT_TRUE(browser().waits_for("document.querySelector('#tree-note').textContent.includes('search to see them')"));
    EXPECT_LE(browser().value_of("document.querySelectorAll('#tree [role=treeitem]').length").get<int>(), 500);
}

TEST_F(Page, FitsIntoFourHundredPixels) {
    for (int32_t number = 1; number <= 8; ++number) {
        Card card = usual_card(CardClass::kLineCard, number);
        card.name = "A-NAME-THAT-IS-LONGER-THAN-ITS-CARD-IS-WIDE";
        insert(card);
    }
    capability("/a/" + std::string(200, 'x'), 1);
    ASSERT_TRUE(shows(8, "not ready"));
    browser().resize(400, 800);
    const std::string too_wide = "document.documentElement.scrollWidth > 400";
    EXPECT_EQ(browser().value_of(too_wide), false);
    browser().run("open(3); document.querySelector('#search').value = 'xx'; drawTree()");
    EXPECT_TRUE(browser().waits_for("document.querySelectorAll('#tree [role=treeitem]').length === 3"));
    EXPECT_EQ(browser().value_of(too_wide), false);
    const nlohmann::json box = browser().value_of("document.querySelector('#why').getBoundingClientRect()");
    EXPECT_GE(box["left"], 0);
    EXPECT_LE(box["right"], 400);
    EXPECT_LE(box["bottom"], 800);
    EXPECT_EQ(
        browser().value_of("[...document.querySelectorAll('button, select, input')].filter(each => each.offsetWidth "
                           "&& (each.getBoundingClientRect().left < 0 || each.getBoundingClientRect().right > 400))"
                           ".length"),
        0);
}

// The contrast that WCAG asks of text, of all that is coloured.
TEST_F(Page, IsLegibleInDarkAndLight) {
    const std::string contrasts = R"(
        const level = text => { const [r, g, b] = text.match(/\d+/g).map(part => part / 255)
          .map(part => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4); return 0.2126 * r + 0.7152 * g + 0.0722 * b; };
        const ground = getComputedStyle(document.querySelector('section')).backgroundColor;
        const probe = document.querySelector('#legend').appendChild(document.createElement('li'));
        const found = {};
        for (const name of ['', 'ready', 'ready-in-advance', 'not-ready', 'denied', 'not-installed', 'contradictory', 'none']) {
          probe.className = name;
          const [a, b] = [level(getComputedStyle(probe).color), level(ground)].sort((x, y) => y - x);
          found[name] = (a + 0.05) / (b + 0.05);
        }
        probe.remove();
        return [ground, found];)";
    browser().prefer("light");
    const nlohmann::json light = browser().run(contrasts);
    browser().prefer("dark");
    const nlohmann::json dark = browser().run(contrasts);
    EXPECT_NE(light[0], dark[0]);
    for (const nlohmann::json &scheme : {light, dark}) {
        for (const auto &[name, contrast] : scheme[1].items()) {
            EXPECT_GE(contrast.get<double>(), 4.5) << name << " on " << scheme[0];
        }
    }
}

TEST_F(Page, SaysThatItIsDisconnectedAndComesBackByItself) {
    insert(usual_card(CardClass::kLineCard, 3));
    ASSERT_TRUE(shows(3, "not ready"));
    const uint16_t port = board()->port();
    board().reset();
    EXPECT_TRUE(browser().waits_for("document.querySelector('#link').textContent === 'Page disconnected'"));
    EXPECT_TRUE(browser().waits_for("document.querySelector('#alarm').innerText.includes('tries again by itself')"));
    EXPECT_TRUE(shows(3, "not ready")) << "as it last was";
    BoardThread another("mem:page", port);
    EXPECT_TRUE(browser().waits_for("document.body.dataset.link === 'up' && document.querySelector('#alarm').hidden"));
    store().remove(card_info(usual_card(CardClass::kLineCard, 3)));
    EXPECT_TRUE(browser().waits_for("!document.querySelector('.card')"));
}

class PageOverAServer : private test_support::RedisServer, public Page {
protected:
    PageOverAServer() : Page(RedisServer::store_name()) {}

    RedisServer &server() { return *this; }
};

TEST_F(PageOverAServer, SaysThatTheStoreIsLost) {
    server().kill();
    EXPECT_TRUE(browser().waits_for("document.querySelector('#link').textContent === 'Store lost'"));
    EXPECT_TRUE(
        browser().waits_for("document.querySelector('#alarm').innerText.startsWith('The store is lost since')"));
    server().restart(test_support::RedisServer::Data::kDropped);
    EXPECT_TRUE(browser().waits_for("document.body.dataset.link === 'up'"));
}

// However fast it is drawn.
TEST_F(Page, ShowsTheLastStatesOfABurst) {
    browser().run("document.querySelector('#search').value = 'burst'; drawTree()");
    for (int change = 0; change < 500; ++change) {
        capability("/burst/" + std::to_string(change % 10), change);
        const Card card = usual_card(CardClass::kFabric, 1 + change % 4);
        node(card, change >= 496);
        insert(card);
    }
    for (int url = 0; url < 10; ++url) {
        EXPECT_TRUE(browser().waits_for(
            "document.querySelector('#tree').innerText.includes('int32_value = " + std::to_string(490 + url) + "')"));
    }
    for (int32_t number = 1; number <= 4; ++number) {
        EXPECT_TRUE(shows(number, "ready"));
    }
    EXPECT_LE(browser().value_of("document.querySelectorAll('#lines li').length").get<int>(), 200);
}

}  // namespace

}  // namespace board_test
