// In front of the capability functions that others call.

#include "interposed.h"
#include "trel_cap/trel_cap.h"

using interposed::answer_to;
using interposed::behind;
using interposed::note;
using interposed::script;

namespace {

template <auto kFunction>
int32_t node_getter(const char *name, MomClient *global, int32_t node, const char *url, auto *value) {
    const auto answer = answer_to(name);
    note(global, url, value);
    script().log_levels = {node};
    return answer.has_value() ? *answer : behind(kFunction, name)(global, node, url, value);
}

const void *address(MomFieldCb fp) { return reinterpret_cast<const void *>(fp); }

template <auto kFunction>
int32_t subscriber(const char *name, MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    const auto answer = answer_to(name);
    note(global, url, address(fp), arg);
    return answer.has_value() ? *answer : behind(kFunction, name)(global, url, fp, arg);
}

}  // namespace

#define IN_FRONT_OF_SUBSCRIBER(function)                                                                               \
    int32_t function(MomClient *global, const char *url, MomFieldCb fp, void *arg) {                                   \
        return subscriber<function>(#function, global, url, fp, arg);                                                  \
    }

extern "C" {

int32_t trel_cap_ce_get_fe_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value) {
    return node_getter<trel_cap_ce_get_fe_cap_bool>("trel_cap_ce_get_fe_cap_bool", global, node, url, value);
}

int32_t trel_cap_ce_get_fe_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value) {
    return node_getter<trel_cap_ce_get_fe_cap_int32>("trel_cap_ce_get_fe_cap_int32", global, node, url, value);
}

int32_t trel_cap_ce_get_fe_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                   uint32_t *length) {
    const auto answer = answer_to("trel_cap_ce_get_fe_cap_str");
    note(global, url, str, length);
    script().log_levels = {node, size};
    return answer.has_value()
               ? *answer
               : behind(trel_cap_ce_get_fe_cap_str, "trel_cap_ce_get_fe_cap_str")(global, node, url, size, str, length);
}

int32_t trel_cap_ce_subscribe_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp) {
    const auto answer = answer_to("trel_cap_ce_subscribe_g_cap_bool");
    note(global, url, address(fp));
    return answer.has_value()
               ? *answer
               : behind(trel_cap_ce_subscribe_g_cap_bool, "trel_cap_ce_subscribe_g_cap_bool")(global, url, fp);
}

IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_g_cap_bool_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_g_cap_int32_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_hps_g_cap_bool_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_hps_g_cap_int32_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_fab_g_cap_bool_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_fab_g_cap_int32_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_cm_g_cap_bool_ext)
IN_FRONT_OF_SUBSCRIBER(trel_cap_ce_subscribe_cm_g_cap_int32_ext)
}
