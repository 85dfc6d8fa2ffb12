#pragma once
// Runs a test body in a forked child that has a private mount namespace (with a user namespace
// when not root), so that it can mount tmpfs and bind mounts inside its test tree. The mounts
// vanish with the child. The body returns its findings as text (empty: all good); the parent
// gets them back with the child's exit status.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora::test {

/// The child's exit status when no mount namespace could be entered (the test skips).
constexpr int kMountNamespaceUnavailable = 77;

struct MountChildReport {
    int status = -1;
    std::string text;
};

namespace detail {

inline bool writeProcText(const char* path, const std::string& text) {
    UniqueFd fd(::open(path, O_WRONLY | O_CLOEXEC));
    return fd && ::write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

inline std::optional<std::string> enterPrivateMountNamespace() {
    const uid_t uid = ::getuid();
    const gid_t gid = ::getgid();
    if (::geteuid() == 0 && ::unshare(CLONE_NEWNS) == 0) {
        // entered as root
    } else if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) {
        if (!writeProcText("/proc/self/setgroups", "deny") ||
            !writeProcText("/proc/self/uid_map",
                           std::to_string(uid) + " " + std::to_string(uid) + " 1") ||
            !writeProcText("/proc/self/gid_map",
                           std::to_string(gid) + " " + std::to_string(gid) + " 1")) {
            return std::string("could not map ids in a user namespace: ") + std::strerror(errno);
        }
    } else {
        return std::string("unshare failed: ") + std::strerror(errno);
    }
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return std::string("could not make the mounts private: ") + std::strerror(errno);
    }
    return std::nullopt;
}

}  // namespace detail

inline MountChildReport runInPrivateMountNamespace(const std::function<std::string()>& body) {
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(pipeFds[0]);
        std::string text;
        int status = 0;
        if (auto problem = detail::enterPrivateMountNamespace()) {
            text = *problem;
            status = kMountNamespaceUnavailable;
        } else {
            try {
                text = body();
            } catch (const std::exception& e) {
                text = std::string("exception: ") + e.what();
            }
            status = text.empty() ? 0 : 1;
        }
        (void)!::write(pipeFds[1], text.data(), text.size());
        ::_exit(status);
    }
    ::close(pipeFds[1]);
    MountChildReport report;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;) {
        report.text.append(buffer, static_cast<size_t>(n));
    }
    ::close(pipeFds[0]);
    int status = 0;
    if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status)) {
        report.status = WEXITSTATUS(status);
    }
    return report;
}

/// Mounts a fresh tmpfs at `path`, or a bind mount of `source` there; throws on failure.
inline void mountTmpfs(const std::string& path) {
    if (::mount("tmpfs", path.c_str(), "tmpfs", 0, "mode=0755") != 0) {
        throw std::runtime_error("mount tmpfs at " + path + ": " + std::strerror(errno));
    }
}
inline void bindMount(const std::string& source, const std::string& path) {
    if (::mount(source.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw std::runtime_error("bind " + source + " at " + path + ": " + std::strerror(errno));
    }
}

/// Collects failed expectations in the child, where GoogleTest's cannot report.
struct ChildFindings {
    std::string text;
    void expect(bool ok, const std::string& what) {
        if (!ok) text += what + "\n";
    }
};

}  // namespace velmora::test
