// Chromium without a window, driven through chromedriver's WebDriver interface.
#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "private_directory.h"
#include "program.h"

namespace board_test {

// As WebDriver names them.
namespace keys {
inline constexpr char kTab[] = "\uE004";
inline constexpr char kEnter[] = "\uE007";
inline constexpr char kEscape[] = "\uE00C";
inline constexpr char kLeft[] = "\uE012";
inline constexpr char kUp[] = "\uE013";
inline constexpr char kRight[] = "\uE014";
inline constexpr char kDown[] = "\uE015";
}  // namespace keys

// Every member throws std::runtime_error with the driver's words when it cannot do it.
class Browser {
public:
    Browser();
    ~Browser();
    Browser(const Browser &) = delete;
    Browser &operator=(const Browser &) = delete;

    void open(const std::string &url);
    // A function's body; what it returns.
    nlohmann::json run(const std::string &script);
    // The value of an expression.
    nlohmann::json value_of(const std::string &expression) { return run("return " + expression); }
    // Until an expression is true; false when that takes half a minute.
    bool waits_for(const std::string &expression);
    void press(const std::string &key);
    void type(const std::string &text);

    void resize(int width, int height);
    void prefer(const std::string &colour_scheme);  // light or dark
    std::string screenshot();                       // PNG

    // What the page's console has told since this was asked: errors of scripts, what the policy has kept out.
    nlohmann::json complaints();

private:
    nlohmann::json ask(const std::string &method, const std::string &path, const nlohmann::json &body = {});
    void devtools(const std::string &command, const nlohmann::json &parameters);

    test_support::PrivateDirectory profile_;
    std::unique_ptr<test_support::Program> driver_;
    uint16_t port_ = 0;
    std::string session_;
};

}  // namespace board_test
