// How a failure is reported where an operation is repeated: the report itself tries again.
#pragma once

#include "log/log.h"

namespace trel_cap {

// Reports that operation() has failed by trying again: once for the number in the message, if the log level lets that
// through, and once more for the result, which may then be a success.
template <typename Operation>
int32_t repeat_failed(const Caller &caller, Operation operation) {
    TREL_CAP_LOG_AT_CALLER(caller, kError, "failed,rv %d", operation());
    return operation();
}

template <typename Operation>
int32_t repeat_on_failure(const Caller &caller, Operation operation) {
    return operation() == 0 ? 0 : repeat_failed(caller, operation);
}

}  // namespace trel_cap
