// The directory of the modules, from the operator's side: what is there, and whose it is.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include <base/fd.h>

namespace console {

class ModuleDirectory {
public:
    // Throws a Failure when others could have put sockets there. One that is missing has no modules. Root may look into
    // a directory of any one user, and meets that user's modules only.
    explicit ModuleDirectory(const std::string &path);

    // Of the sockets there whose owner may have modules for this operator; in their order.
    struct Entry {
        std::string file;
        uid_t owner;
    };
    std::vector<Entry> entries() const;
    std::optional<Entry> entry(const std::string &file) const;

    // A connection, or an errno: EAGAIN when as many wait already as the module lets wait, EPERM when another than the
    // socket's owner listens.
    struct Attempt {
        base::Fd socket;
        int error;
    };
    Attempt connect(const Entry &entry) const;

private:
    bool may_have_modules(uid_t user) const;

    std::string path_;
    base::Fd fd_;  // none: it is missing
    std::optional<uid_t> only_user_;
};

// The process that listens; 0 when it cannot be seen from here.
pid_t process_behind(const base::Fd &socket);

// Whether a module of that user is met by its name alone: the operator's own, and root's.
bool is_familiar(uid_t user);

}  // namespace console
