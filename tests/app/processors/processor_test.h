// What the tests of the processors share: somebody who is told of all events, a thread as it is at first, nodes in its
// list, and what the library's other parts do and log on the way.
#pragma once

#include <string>
#include <vector>

#include "callbacks.h"
#include "library_test.h"
#include "nodes.h"

namespace trel_cap_tests::processors {

using Events = std::vector<Event>;

inline void append(Events &to, const Event &event) { to.push_back(event); }
inline void append(Events &to, const Events &events) { to.insert(to.end(), events.begin(), events.end()); }

// Calls, messages and runs of them, one after another.
template <class... Parts>
Events in_order(const Parts &...parts) {
    Events events;
    (append(events, parts), ...);
    return events;
}

// One of the five lists of registrations. On each a callback is registered for all events.
struct List {
    const Kind &kind;
    const char *callback;
};
extern const List kLineCards;
extern const List kFabric;
extern const List kControlModules;
extern const List kHps;
extern const List kLineCardsAndHps;

// That a list's callback was called.
Call told(const List &list, int event);
Call told(const List &list, int event, int32_t node, int ready);

// That an event went through a list's dispatcher to its callback.
Events dispatched(const List &list, int event);
Events dispatched(const List &list, int event, int32_t node, int ready);

// What the node list does and logs: an entry found, added, removed; all entries walked and one node judged.
inline Log found(const CapNodeRecord &entry) { return trel_cap_tests::found("trel_cap_sw_node_search", entry); }
Events added(const CapNodeRecord &entry);
Events not_added();
Events removed(int32_t node, int32_t config_dev_type, const std::vector<CapNodeRecord> &matching);
Events judged(const std::vector<CapNodeRecord> &walked, int32_t node);

// The calling thread's list; entries are compared and shown as lines.
std::vector<CapNodeRecord> listed();
std::vector<std::string> lines(const std::vector<CapNodeRecord> &records);

// The state of the calling thread that the processors read and write, the node list apart. By name for the tests that
// go through all of it.
struct Variable {
    const char *name;
    uint8_t *(*address)();
};
extern const std::vector<Variable> kValidated;
extern const std::vector<Variable> kCalcReady;

// Commands that mean nothing to a processor which handles those given.
std::vector<int32_t> commands_other_than(const std::vector<int32_t> &handled);

class ProcessorTest : public LibraryTest {
protected:
    // The processor under test, and the name that its messages carry.
    ProcessorTest(const char *name_in_log, MomMsgCb function);
    ~ProcessorTest() override;

    // A thread as it is at first, but for these entries in its list.
    void start_with(const std::vector<CapNodeRecord> &records = {});
    // Everything that start_with() sets.
    static std::vector<std::string> state();

    int32_t process(Message message);
    // A message whose result is not to be looked at.
    int32_t process_unread(int32_t cmd);

    Log error(const std::string &message) const { return {100, processor_name, message}; }
    Log progress(const std::string &message) const { return {80, processor_name, message}; }
    Log detail(const std::string &message) const { return {40, processor_name, message}; }

    void expect_listed(const std::vector<CapNodeRecord> &records) const;
    // The calls of callbacks since the last look, and nothing else; for tests that close the log.
    void expect_told(const std::vector<Call> &expected);

    const char *const processor_name;
    const MomMsgCb processor;
};

}  // namespace trel_cap_tests::processors
