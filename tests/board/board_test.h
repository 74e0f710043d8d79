// A test with a board over an embedded store, and a client that writes there.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "board_thread.h"
#include "viewer.h"

namespace board_test {

class BoardTest : public testing::Test {
protected:
    uint16_t port() const { return board_.port(); }
    std::string host() const { return "Host: 127.0.0.1:" + std::to_string(port()) + "\r\n"; }
    Reply get(const std::string &path) const { return board_test::get(port(), path); }
    store::Store &store() { return store_; }

    // By key, with fields as text.
    void write(const std::string &key, const std::vector<std::pair<std::string, std::string>> &fields) {
        record::Record record = record::record_at(key);
        for (const auto &[name, value] : fields) {
            record.set_text(name, value);
        }
        store_.write(record);
    }
    void write_int(const std::string &url, int value) {
        write("cap_table:" + url, {{"int32_value", std::to_string(value)}});
    }

private:
    store::Store store_{"mem:board"};
    BoardThread board_{"mem:board"};
};

}  // namespace board_test
