#include "CleanerCore/platform/CappedFileRead.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

// Errors that describe the process, not the file.
bool isTransient(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR ||
           error == EAGAIN;
}

}  // namespace

CappedRead readFileCapped(const std::string& path, size_t cap) {
    // O_NONBLOCK: a FIFO planted at the path must not block the open.
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        if (errno == ENOENT || errno == ENOTDIR) return {CappedReadState::missing, {}};
        return {isTransient(errno) ? CappedReadState::unavailable : CappedReadState::unreadable,
                {}};
    }
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode))
        return {CappedReadState::unreadable, {}};
    if (st.st_size > static_cast<off_t>(cap)) return {CappedReadState::oversized, {}};

    // The size may change under us: read up to one byte past the cap to know.
    std::string data(static_cast<size_t>(st.st_size) + 1, '\0');
    size_t got = 0;
    while (got <= cap) {
        if (got == data.size()) data.resize(std::min(2 * data.size(), cap + 1));
        const ssize_t n = ::read(fd.get(), data.data() + got, data.size() - got);
        if (n < 0) {
            if (errno == EINTR) continue;
            return {CappedReadState::unreadable, {}};
        }
        if (n == 0) break;
        got += static_cast<size_t>(n);
    }
    if (got > cap) return {CappedReadState::oversized, {}};
    data.resize(got);
    return {CappedReadState::data, std::move(data)};
}

std::optional<std::string> setFileAside(const std::string& path, std::string_view reason) {
    std::string aside = path + "." + std::string(reason) + "-" +
                        std::to_string(static_cast<long long>(::time(nullptr))) + "-" +
                        makeUUIDString();
    if (::rename(path.c_str(), aside.c_str()) != 0) return std::nullopt;
    return aside;
}

}  // namespace velmora
