// What networks do: between the client and the server.
#include "fault.h"
#include "trel_cap/status.h"

namespace reliability {

namespace {

constexpr milliseconds kShort{1000};

// Answers the commands of that name alone.
mom_test::Proxy::Answer instead_of(const std::string &name, const std::string &answer) {
    return [=](const std::vector<std::string> &command) { return command.at(0) == name ? answer : std::string(); };
}

std::function<void(Scene &)> answering(const std::string &name, const std::string &answer) {
    return [=](Scene &scene) { scene.proxy().answer_with(instead_of(name, answer)); };
}

void answer_truly(Scene &scene) { scene.proxy().answer_with(nullptr); }

}  // namespace

std::vector<Fault> network_faults() {
    using Sign = Fault::Sign;
    std::vector<Fault> faults = {
        {.name = "late",
         .title = "answers come byte by byte, in time",
         .begin = [](Scene &scene) { scene.proxy().drip(true); },
         .end = [](Scene &scene) { scene.proxy().drip(false); }},
        {.name = "silent",
         .title = "no answer comes, and the connections stay open",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .begin = [](Scene &scene) { scene.proxy().hold_after(0); },
         .end = [](Scene &scene) { scene.proxy().let_through(); },
         .limit = kShort,
         .awaited = "still lost"},
        {.name = "half_an_answer",
         .title = "the first 10 bytes of an answer come, and no more",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .begin = [](Scene &scene) { scene.proxy().hold_after(10); },
         .end = [](Scene &scene) { scene.proxy().let_through(); },
         .limit = kShort,
         .awaited = "still lost"},
        {.name = "cut_within_an_answer",
         .title = "connections are cut within an answer, again and again",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .begin = [](Scene &scene) { scene.proxy().cut_after(10); },
         .end = [](Scene &scene) { scene.proxy().cut_after(-1); }},
        {.name = "cut_before_an_answer",
         .title = "the connection of a request is cut before its answer, once",
         .sign = Sign::kCall,
         .write = OX_MOM_E_LOST,
         .begin = [](Scene &scene) { scene.proxy().cut_next_answer(); },
         .before_write = [](Scene &scene) { scene.proxy().cut_next_answer(); }},
        {.name = "cut_within_a_notification",
         .title = "connections are cut within a notification, again and again",
         .sign = Sign::kLoss,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .begin =
             [](Scene &scene) {
                 scene.proxy().cut_after(20);
                 scene.publish_capability(3);
             },
         .end = [](Scene &scene) { scene.proxy().cut_after(-1); }},
        {.name = "cut",
         .title = "all connections are cut at once",
         .sign = Sign::kLoss,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .begin = [](Scene &scene) { scene.proxy().cut(); }},
        {.name = "read_of_another_type",
         .title = "a read is answered by a status",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .begin = answering("HGETALL", "+OK\r\n"),
         .end = answer_truly},
        {.name = "write_of_another_type",
         .title = "a write is answered by a string",
         .sign = Sign::kCall,
         .write = OX_MOM_E_TYPE,
         .begin = answering("EVALSHA", "$2\r\nOK\r\n"),
         .end = answer_truly},
        {.name = "no_protocol",
         .title = "a read is answered by what is no protocol",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .begin = answering("HGETALL", "<html>\r\n"),
         .end = answer_truly},
        {.name = "noauth",
         .title = "reads are answered by NOAUTH",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .begin = answering("HGETALL", "-NOAUTH Authentication required.\r\n"),
         .end = answer_truly},
        {.name = "noscript",
         .title = "writes are answered by NOSCRIPT, again and again",
         .sign = Sign::kCall,
         .write = OX_MOM_E_REFUSED,
         .begin = answering("EVALSHA", "-NOSCRIPT No matching script.\r\n"),
         .end = answer_truly},
        {.name = "loading",
         .title = "everything is answered by LOADING",
         .sign = Sign::kCall,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .begin =
             [](Scene &scene) {
                 scene.proxy().answer_with([](const auto &) { return "-LOADING the dataset is read\r\n"; });
             },
         .end = answer_truly},
    };
    for (Fault &fault : faults) {
        fault.has_proxy = true;
    }
    return faults;
}

}  // namespace reliability
