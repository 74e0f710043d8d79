#include "core/credentials.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/fd.h"
#include "core/error.h"

namespace mom {

namespace {

constexpr char kUser[] = "OX_MOM_USER";
constexpr char kPassword[] = "OX_MOM_PASSWORD";
constexpr char kFile[] = "OX_MOM_PASSWORD_FILE";

// One that is empty counts as unset. A program with its user's rights raised does not let that user say which file it
// reads.
std::string_view variable(const char *name) {
    const char *value = secure_getenv(name);
    return value != nullptr ? value : "";
}

bool refuse(const char *path, const char *why) {
    fail(OX_MOM_E_STORE, "%s: %s: %s", kFile, path, why);
    return false;
}

// Not to wait for a writer where the file is a pipe.
bool read_first_line(const char *path, std::string &line) {
    const base::Fd file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info = {};
    if (!file || fstat(file.get(), &info) != 0) {
        return refuse(path, std::strerror(errno));
    }
    if (!S_ISREG(info.st_mode)) {
        return refuse(path, "not a regular file");
    }
    std::array<char, 4096> buffer;
    const ssize_t size = read(file.get(), buffer.data(), buffer.size());
    if (size < 0) {
        return refuse(path, std::strerror(errno));
    }
    const std::string_view text(buffer.data(), static_cast<size_t>(size));
    line = text.substr(0, text.find_first_of("\r\n"));
    buffer.fill('\0');
    return !line.empty() || refuse(path, "its first line, which is to be the password, is empty");
}

}  // namespace

bool complete_credentials(StoreName &name) {
    if (name.kind == StoreName::Kind::kMem || !name.password.empty()) {
        return true;
    }
    const std::string_view password = variable(kPassword);
    const std::string_view file = variable(kFile);
    const std::string_view user = variable(kUser);
    if (!password.empty() && !file.empty()) {
        fail(OX_MOM_E_STORE, "%s and %s are both set; one expected", kPassword, kFile);
        return false;
    }
    if (!file.empty() && !read_first_line(file.data(), name.password)) {
        return false;
    }
    if (file.empty()) {
        name.password = password;
    }
    if (!user.empty() && name.password.empty()) {
        fail(OX_MOM_E_STORE, "%s is set, but neither %s nor %s", kUser, kPassword, kFile);
        return false;
    }
    name.user = user;
    return true;
}

}  // namespace mom
