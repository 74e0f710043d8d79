#include "module_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include <socket_file.h>
#include <trusted_path.h>

#include "command_line/exit_status.h"

namespace console {

using namespace command_line;

namespace {

ucred peer_of(const base::Fd &socket) {
    ucred peer{.pid = 0, .uid = static_cast<uid_t>(-1), .gid = static_cast<gid_t>(-1)};
    socklen_t size = sizeof peer;
    getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size);
    return peer;
}

}  // namespace

ModuleDirectory::ModuleDirectory(const std::string &path) : path_(path) {
    quib::TrustedDirectory found = quib::open_trusted(path, geteuid(), quib::IfMissing::kFail);
    if (geteuid() == 0 && found.stranger) {
        only_user_ = found.stranger;
        found = quib::open_trusted(path, *only_user_, quib::IfMissing::kFail);
    }
    if (!found.fd && !found.missing) {
        throw Failure(kNoConnection, found.reason);
    }
    fd_ = std::move(found.fd);
}

bool ModuleDirectory::may_have_modules(uid_t user) const {
    return only_user_ ? user == *only_user_ : geteuid() == 0 || is_familiar(user);
}

std::optional<ModuleDirectory::Entry> ModuleDirectory::entry(const std::string &file) const {
    const auto socket = fd_ ? quib::open_socket_file(fd_.get(), file) : std::nullopt;
    return socket && may_have_modules(socket->owner) ? std::optional<Entry>({file, socket->owner}) : std::nullopt;
}

std::vector<ModuleDirectory::Entry> ModuleDirectory::entries() const {
    std::vector<Entry> found;
    base::Fd reading(fd_ ? openat(fd_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1);
    const std::unique_ptr<DIR, int (*)(DIR *)> files(reading ? fdopendir(reading.get()) : nullptr, closedir);
    if (!files && fd_) {
        throw Failure(kNoConnection, path_ + ": " + std::strerror(errno));
    }
    reading.release();
    while (const dirent *file = files ? readdir(files.get()) : nullptr) {
        if (auto its = entry(file->d_name)) {
            found.push_back(std::move(*its));
        }
    }
    std::sort(found.begin(), found.end(), [](const Entry &a, const Entry &b) { return a.file < b.file; });
    return found;
}

ModuleDirectory::Attempt ModuleDirectory::connect(const Entry &entry) const {
    const auto file = fd_ ? quib::open_socket_file(fd_.get(), entry.file) : std::nullopt;
    if (!file) {
        return {base::Fd(), fd_ ? errno : ENOENT};
    }
    base::Fd socket = quib::make_socket();
    if (!socket || quib::connect_to(socket.get(), *file) != 0) {
        return {base::Fd(), errno};
    }
    if (file->owner != entry.owner || peer_of(socket).uid != entry.owner) {
        return {base::Fd(), EPERM};
    }
    return {std::move(socket), 0};
}

pid_t process_behind(const base::Fd &socket) { return peer_of(socket).pid; }

bool is_familiar(uid_t user) { return user == geteuid() || user == 0; }

}  // namespace console
