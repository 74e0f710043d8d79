// What viewers are shown, in versions: whoever has seen one is told what is different now, and nothing in between. So a
// viewer costs no more than the version that it has seen, however slow it is.
#pragma once

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <string>
#include <utility>

namespace board {

class Sheet {
public:
    enum Section { kStore, kScopes, kCards, kCapabilities };

    // JSON under a key; as it was: nothing is new.
    void put(Section section, const std::string &key, std::string json);
    void erase(Section section, const std::string &key);
    // JSON of something that happened; the latest are kept.
    void add_event(std::string json);
    bool has_news() const { return news_; }

    // All that is new becomes a version; so does nothing.
    void publish();
    uint64_t version() const { return version_; }

    // {"version": N, "whole": true, "store": {...}, "scopes": {...}, "cards": {...}, "capabilities": {...}, "events":
    // [...]}: each section an object by key.
    std::string whole() const;
    // The same of what is not as it was in that version, whose sections may be missing; what has gone is null. All of
    // it, when that was too long ago.
    std::string since(uint64_t version) const;

private:
    struct Entry {
        Section section;
        std::string key;
        std::string json;
        uint64_t version;
        bool gone() const { return json == "null"; }
    };
    struct Event {
        std::string json;
        uint64_t version;
    };

    void forget_gone();
    std::string write(uint64_t since, bool whole) const;

    std::list<Entry> entries_;  // ordered by version
    std::map<std::pair<Section, std::string>, std::list<Entry>::iterator> by_key_;
    std::deque<Event> events_;
    uint64_t version_ = 0;
    uint64_t forgotten_ = 0;  // what had gone by then may be known no more
    size_t gone_ = 0;
    bool news_ = false;
};

}  // namespace board
