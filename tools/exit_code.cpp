#include "exit_code.h"

#include <ox_mom.h>

namespace capctl {

namespace {

// By the names of the OX_MOM_E_ codes: a new one does not compile until it has an entry.
enum ExitCodeByName : int {
    ON_ARGUMENT = kFailed,
    ON_MEMORY = kFailed,
    ON_THREAD = kFailed,
    ON_FORK = kFailed,
    ON_STORE = kUsage,
    ON_NOT_CONNECTED = kFailed,
    ON_CONNECT = kNoConnection,
    ON_LOST = kNoConnection,
    ON_TIMEOUT = kTimeOut,
    ON_REFUSED = kRefused,
    ON_TYPE = kUnreadable,
    ON_DECODE = kUnreadable,
    ON_DESTROYED = kFailed,
};

}  // namespace

ExitCode exit_code_of(int32_t store_code) {
    switch (store_code) {
#define EXIT_CODE_CASE(name, code, text)                                                                               \
    case OX_MOM_E_##name:                                                                                              \
        return static_cast<ExitCode>(ON_##name);
        OX_MOM_ERRORS(EXIT_CODE_CASE)
#undef EXIT_CODE_CASE
        default:
            return kFailed;
    }
}

}  // namespace capctl
