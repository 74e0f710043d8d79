#include "browser.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <unistd.h>

#include "../http_client.h"
#include "redis_server.h"

namespace board_test {

using nlohmann::json;

namespace {

std::string from_base64(const std::string &text) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    uint32_t bits = 0;
    int count = 0;
    for (const char digit : text) {
        const size_t value = digits.find(digit);
        if (value == std::string::npos) {
            break;
        }
        bits = bits << 6U | static_cast<uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> static_cast<unsigned>(count) & 0xFFU);
        }
    }
    return bytes;
}

}  // namespace

Browser::Browser() : port_(static_cast<uint16_t>(test_support::unused_port())) {
    driver_ = std::make_unique<test_support::Program>(
        test_support::Launch{.program = CHROMEDRIVER, .arguments = {"--port=" + std::to_string(port_)}});
    if (!driver_->prints("started successfully")) {
        throw std::runtime_error("chromedriver does not start: " + driver_->printed());
    }
    const json arguments = {"--headless",
                            "--no-sandbox",
                            "--disable-gpu",
                            "--disable-quic",
                            "--disable-dev-shm-usage",
                            "--no-first-run",
                            "--disable-background-networking",
                            "--disable-component-update",
                            "--disable-sync",
                            "--hide-scrollbars",
                            "--remote-debugging-pipe",  // it ends with the driver, however that ends
                            "--user-data-dir=" + profile_.file("profile")};
    const json wanted = {{"browserName", "chrome"},
                         {"goog:chromeOptions", {{"args", arguments}}},
                         {"goog:loggingPrefs", {{"browser", "ALL"}}}};
    session_ = "/session/" +
               ask("POST", "/session", {{"capabilities", {{"alwaysMatch", wanted}}}})["sessionId"].get<std::string>();
}

Browser::~Browser() {
    try {
        ask("DELETE", session_);
    } catch (const std::exception &) {
        // It has ended by itself.
    }
    kill(driver_->pid(), SIGTERM);
    driver_->finish();
}

json Browser::ask(const std::string &method, const std::string &path, const json &body) {
    const std::string text = body.is_null() ? "" : body.dump();
    Connection connection(port_);
    connection.send(method + " " + (path.starts_with("/session") ? path : session_ + path) + " HTTP/1.1\r\n" +
                    "Host: 127.0.0.1:" + std::to_string(port_) + "\r\nContent-Type: application/json\r\n" +
                    "Content-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text);
    const Reply reply = connection.read_reply();
    json value = json::parse(reply.body)["value"];
    if (reply.status != 200) {
        throw std::runtime_error(value.value("message", reply.body));
    }
    return value;
}

void Browser::devtools(const std::string &command, const json &parameters) {
    ask("POST", "/goog/cdp/execute", {{"cmd", command}, {"params", parameters}});
}

void Browser::open(const std::string &url) { ask("POST", "/url", {{"url", url}}); }

json Browser::run(const std::string &script) {
    return ask("POST", "/execute/sync", {{"script", script}, {"args", json::array()}});
}

bool Browser::waits_for(const std::string &expression) {
    constexpr useconds_t kPause = 20000;
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (std::chrono::steady_clock::now() < end) {
        if (value_of("!!(" + expression + ")") == true) {
            return true;
        }
        usleep(kPause);
    }
    return false;
}

void Browser::press(const std::string &key) {
    const json strokes = {{{"type", "keyDown"}, {"value", key}}, {{"type", "keyUp"}, {"value", key}}};
    ask("POST", "/actions", {{"actions", {{{"type", "key"}, {"id", "keyboard"}, {"actions", strokes}}}}});
}

void Browser::type(const std::string &text) {
    for (const char letter : text) {
        press(std::string(1, letter));
    }
}

void Browser::resize(int width, int height) {
    devtools("Emulation.setDeviceMetricsOverride",
             {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}});
}

void Browser::prefer(const std::string &colour_scheme) {
    const json feature = {{"name", "prefers-color-scheme"}, {"value", colour_scheme}};
    devtools("Emulation.setEmulatedMedia", {{"features", json::array({feature})}});
}

std::string Browser::screenshot() { return from_base64(ask("GET", "/screenshot").get<std::string>()); }

json Browser::complaints() { return ask("POST", "/se/log", {{"type", "browser"}}); }

}  // namespace board_test
