// What other tools do to what is stored.
#include <stdexcept>
#include <thread>

#include "fault.h"
#include "trel_cap/records.h"
#include "trel_cap/status.h"

namespace reliability {

namespace {

constexpr const char *kCapability = "p_libpub.cap_table:/reliability/followed";
constexpr const char *kReadiness = "s_frame.cap_fe_ready:257:77";  // of the card that is kept

void tool(Scene &scene, const std::vector<std::vector<std::string>> &commands) {
    scene.tell_server({"SELECT", std::to_string(TREL_CAP_DB_CAPABILITIES)});
    for (const auto &command : commands) {
        scene.tell_server(command);
    }
}

std::function<void(Scene &)> by_tool(const std::vector<std::vector<std::string>> &commands) {
    return [=](Scene &scene) { tool(scene, commands); };
}

void let_expire(Scene &scene) {
    tool(scene, {{"PEXPIRE", kCapability, "1"}, {"PEXPIRE", kReadiness, "1"}});
    for (int tries = 0; scene.administrator().must({"EXISTS", kCapability, kReadiness})->integer != 0;) {
        if (++tries == 1000) {
            throw std::runtime_error("nothing expires");
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
}

void mend(Scene &scene) {
    tool(scene, {{"DEL", kCapability, kReadiness}});
    scene.publish_capability(4);
    scene.publisher().ready(kKept);
}

}  // namespace

std::vector<Fault> data_faults() {
    const auto overwritten = [](const char *name, const char *title,
                                const std::vector<std::vector<std::string>> &commands) {
        return Fault{.name = name,
                     .title = title,
                     .sign = Fault::Sign::kCall,
                     .read = TREL_CAP_E_NO_ANSWER,
                     .begin = by_tool(commands),
                     .end = mend,
                     .changes = false};
    };
    // Nobody tells followers at that time.
    const auto gone = [](const char *name, const char *title, int32_t read, std::function<void(Scene &)> begin) {
        return Fault{.name = name,
                     .title = title,
                     .sign = Fault::Sign::kCall,
                     .read = read,
                     .read_afterwards = read,
                     .begin = std::move(begin),
                     .end = by_tool({{"CLIENT", "KILL", "TYPE", "pubsub"}}),
                     .changes = false};
    };
    const std::vector<std::vector<std::string>> strings = {{"SET", kCapability, "x"}, {"SET", kReadiness, "x"}};
    const std::vector<std::vector<std::string>> garbage = {{"HSET", kCapability, "7", "\xff\xff"},
                                                           {"HSET", kReadiness, "6", "\xff\xff"}};
    return {
        {.name = "flushed",
         .title = "FLUSHALL",
         .sign = Fault::Sign::kLoss,
         .read = TREL_CAP_E_NO_ANSWER,
         .write = OX_MOM_E_LOST,
         .read_afterwards = TREL_CAP_E_NO_RECORD,
         .begin = by_tool({{"FLUSHALL"}}),
         .changes = false},
        gone("deleted", "another tool deletes records, and the next loss comes", TREL_CAP_E_NO_RECORD,
             by_tool({{"DEL", kCapability, kReadiness}})),
        gone("expired", "records expire, and the next loss comes", TREL_CAP_E_NO_RECORD, let_expire),
        overwritten("overwritten_by_a_string", "another tool overwrites records by strings, and they are written again",
                    strings),
        gone("lost_after_a_string", "another tool overwrites records by strings, and the next loss comes",
             TREL_CAP_E_NO_ANSWER, by_tool(strings)),
        overwritten("overwritten_by_garbage",
                    "another tool overwrites records by what does not decode, and they are written again", garbage),
        gone("lost_after_garbage", "another tool overwrites records by what does not decode, and the next loss comes",
             TREL_CAP_E_NO_ANSWER, by_tool(garbage)),
    };
}

}  // namespace reliability
