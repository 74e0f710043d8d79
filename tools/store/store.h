// A store, and one client of it. Databases are connected when they are first used.
#pragma once

#include <ox_mom.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "command_line/exit_status.h"
#include "record/record.h"
#include "store/unreadable.h"

namespace store {

// What is stored under a key does not decode.
class NotDecoded : public command_line::Failure {
public:
    explicit NotDecoded(const std::string &message) : Failure(command_line::kUnreadable, message) {}
};

// Every member throws a Failure when the store cannot do it.
class Store {
public:
    // By any name that a client takes.
    explicit Store(const std::string &name);

    // Nothing when there is no such record; throws NotDecoded. Of the argument only the address counts.
    std::optional<record::Record> read(const record::Record &address);
    // The fields that are there, in one step; others of the stored record stay.
    void write(const record::Record &record);
    void remove(const record::Record &address);
    // In no order, and without what does not decode. What the callback throws ends the scan.
    void visit(const record::RecordType &type, const std::function<void(const record::View &)> &each);
    void scan(const record::RecordType &type, const std::function<void(record::Record &&)> &each);

    // What the latest scan of each type has left out. Only a program that notes what is skipped knows.
    const Unreadables &unreadable() const { return unreadable_; }

    MomClient *client() const { return client_.get(); }
    void connect(int32_t db);

private:
    struct ClientDeleter {
        void operator()(MomClient *client) const { ox_mom_client_destroy(client); }
    };
    std::unique_ptr<MomClient, ClientDeleter> client_;
    std::set<int32_t> connected_;
    Unreadables unreadable_;
};

// A Failure with the exit status that fits the client's code, in the client's words.
[[noreturn]] void fail(int32_t code);

// The server's store to use: what --store was given, else $OX_MOM_STORE. An embedded one would end with the program,
// so it is refused.
std::string server_name(const std::string &option);

}  // namespace store
