#pragma once
// A fake /proc tree for the relief survey: processes with their owner, times, resident pages,
// cgroup and environment, written as the kernel formats them.
#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora::test {

struct FakeProcess {
    int pid = 0;
    unsigned uid = 1000;
    uint64_t startTicks = 0;
    uint64_t utime = 0;
    uint64_t stime = 0;
    uint64_t residentPages = 0;
    std::string comm = "app";
    std::string cgroup;   ///< the unit, e.g. "app-gnome-org.example.Editor-1.scope"; empty: none
    std::string environ;  ///< NUL-separated, as the kernel writes it
};

class FakeProc {
  public:
    explicit FakeProc(TestTree& tree) : tree_(tree) {
        writeFile(tree_, "proc/stat",
                  "cpu  1 2 3 4 5 6 7 0 0 0\ncpu0 1 1 1 1 0 0 0 0 0 0\ncpu1 1 1 1 1 0 0 0 0 0 "
                  "0\nbtime 1700000000\n");
    }

    void write(const FakeProcess& p) {
        const std::string dir = "proc/" + std::to_string(p.pid) + "/";
        writeFile(
            tree_, dir + "status",
            fmt::format("Name:\t{}\nUid:\t{}\t{}\t{}\t{}\n", p.comm, p.uid, p.uid, p.uid, p.uid));
        writeFile(tree_, dir + "stat",
                  fmt::format("{} ({}) S 1 1 1 0 -1 0 0 0 0 0 {} {} 0 0 20 0 1 0 {} 1000 {} "
                              "18446744073709551615 0 0\n",
                              p.pid, p.comm, p.utime, p.stime, p.startTicks, p.residentPages));
        writeFile(tree_, dir + "cgroup",
                  p.cgroup.empty() ? "0::/user.slice/user-1000.slice/session-2.scope\n"
                                   : "0::/user.slice/user-1000.slice/user@1000.service/app.slice/" +
                                         p.cgroup + "\n");
        writeFile(tree_, dir + "environ", p.environ);
    }

    void remove(int pid) { std::filesystem::remove_all(tree_.path("proc/" + std::to_string(pid))); }

    std::string root() const { return tree_.root(); }

  private:
    TestTree& tree_;
};

inline std::string gioEnvironment(const std::string& desktopFile, int pid) {
    return std::string("HOME=/x") + '\0' + "GIO_LAUNCHED_DESKTOP_FILE=" + desktopFile + '\0' +
           "GIO_LAUNCHED_DESKTOP_FILE_PID=" + std::to_string(pid) + '\0';
}

}  // namespace velmora::test
