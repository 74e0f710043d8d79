// Directories that nobody else can have had a hand in.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "base/fd.h"

namespace quib {

using base::Fd;

struct TrustedDirectory {
    Fd fd;               // none: it is not there, or not to be trusted
    std::string reason;  // in words, why there is none
    bool missing = false;
    bool made = false;
    std::optional<uid_t> stranger;  // whose it is, or what is on the way there, when that is why there is none
};

enum class IfMissing { kMake, kFail };

// Opens the directory step by step from the root, so that what was looked at is what is used. All on the way there,
// symbolic links as well, belongs to the user, to root or to the owner of the root directory, who could replace the
// rest anyway. No others may write to it, except to directories above it that are sticky.
//
// One directory is shared: that of the system, sticky and root's.
TrustedDirectory open_trusted(const std::string &path, uid_t user, IfMissing if_missing);

}  // namespace quib
