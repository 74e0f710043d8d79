// How a command line addresses a record.
#pragma once

#include <string>

#include "chassis/capability.h"
#include "record/record.h"
#include "verbs/command.h"

namespace capctl {

// A capability by its URL, of the device unless a class or a node is given; any record by its key.
class Address {
public:
    // The argument URL, and the options --class, --fe and --cm.
    void add_to(const Command &command);
    // The same where the argument is called otherwise.
    void add_to(const Command &command, const std::string &argument, const std::string &about);

    // Without a field. Throws a usage failure that says what is wrong with it.
    record::Record record() const;
    const std::string &word() const { return word_; }
    // As it was given: /l3/arp --fe 17.
    std::string words() const;
    // Of a URL that looks like a mistyped key: what precedes its first colon is nearly a type's name, and it does not
    // begin with '/'. Which type may have been meant ("; did you mean cap_fe_ready?"); else nothing.
    std::string suggestion() const;
    // Throws a usage failure for such a URL, which says how it is written if it is meant: nobody notices a capability
    // that stands for a record.
    void refuse_mistyped_key() const;
    // What is said of one that is not stored.
    std::string not_found(const record::RecordType &type) const;
    // Whether a class or a node is given.
    bool is_scoped() const { return !card_class_.empty() || !fe_.empty() || !cm_.empty(); }

private:
    std::string word_;
    std::string card_class_;
    std::string fe_;
    std::string cm_;
};

using chassis::is_capability;
using chassis::is_node_capability;

}  // namespace capctl
