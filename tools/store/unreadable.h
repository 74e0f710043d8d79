// Records that are stored and do not decode. The client skips them, and says so nowhere but in its log: a program that
// hears that log hands on here what it hears.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "record/record.h"

namespace store {

// Why, by their keys: "does not decode as its type". What is no record's key is as it is stored.
using Unreadables = std::map<std::string, std::string, std::less<>>;
using Unreadable = Unreadables::value_type;

// Where it is; nothing: the key is no record's.
std::optional<record::Record> address_of(const Unreadable &unreadable);

// A sentence: the record is stored, and is left out.
std::string in_words(const Unreadable &unreadable);

// What a warning of the client's says was skipped by a scan; nothing: it is about something else.
std::optional<Unreadable> skipped_record(std::string_view warning);
// It goes to the unreadable() of the store that is being scanned.
void note_unreadable(const Unreadable &unreadable);

// Has the followers of a type read it again, where the warning says that a notification of it was skipped. False: it is
// about something else, or of a type that nobody follows.
bool note_skipped_notification(std::string_view warning);

}  // namespace store
