#include "support/TestTree.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <grp.h>
#include <sys/wait.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace velmora::test {

namespace fs = std::filesystem;

TestTree::TestTree() {
    const char* tmp = std::getenv("TMPDIR");
    std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/velmora-test-XXXXXX";
    if (::mkdtemp(tmpl.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = fs::canonical(tmpl).string();
}

TestTree::~TestTree() {
    // Make everything writable/readable so that removal succeeds after permission tests.
    ::nftw(
        root_.c_str(),
        [](const char* p, const struct stat* st, int type, struct FTW*) {
            if (type == FTW_D || type == FTW_DNR || type == FTW_DP) ::chmod(p, 0700);
            (void)st;
            return 0;
        },
        64, FTW_PHYS);
    std::error_code ec;
    fs::permissions(root_, fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(root_, ec);
}

std::string TestTree::path(const std::string& relative) const {
    return relative.empty() ? root_ : root_ + "/" + relative;
}

std::string TestTree::file(const std::string& relative, size_t size) {
    std::string p = path(relative);
    fs::create_directories(fs::path(p).parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    std::string data(size, 'x');
    out.write(data.data(), static_cast<std::streamsize>(data.size()));
    if (!out) throw std::runtime_error("cannot write " + p);
    return p;
}

std::string TestTree::dir(const std::string& relative) {
    std::string p = path(relative);
    fs::create_directories(p);
    return p;
}

std::string TestTree::symlink(const std::string& relative, const std::string& target) {
    std::string p = path(relative);
    fs::create_directories(fs::path(p).parent_path());
    if (::symlink(target.c_str(), p.c_str()) != 0) throw std::runtime_error("symlink failed");
    return p;
}

void TestTree::setMtime(const std::string& relative, double unixSeconds) {
    timespec ts[2];
    ts[0].tv_sec = ts[1].tv_sec = static_cast<time_t>(unixSeconds);
    ts[0].tv_nsec = ts[1].tv_nsec = static_cast<long>(
        (unixSeconds - static_cast<double>(static_cast<time_t>(unixSeconds))) * 1e9);
    if (::utimensat(AT_FDCWD, path(relative).c_str(), ts, AT_SYMLINK_NOFOLLOW) != 0) {
        throw std::runtime_error("utimensat failed for " + relative);
    }
}

void TestTree::setMtimeRecursive(const std::string& relative, double unixSeconds) {
    std::string base = path(relative);
    std::vector<std::string> all{base};
    if (fs::is_directory(fs::symlink_status(base))) {
        for (auto& e : fs::recursive_directory_iterator(base)) all.push_back(e.path().string());
    }
    for (auto& p : all) {
        std::string rel = p.substr(root_.size() + (p.size() > root_.size() ? 1 : 0));
        setMtime(rel, unixSeconds);
    }
}

void TestTree::chmod(const std::string& relative, mode_t mode) {
    if (::chmod(path(relative).c_str(), mode) != 0) throw std::runtime_error("chmod failed");
}

double unixNow() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

bool runWithoutPrivileges(const TestTree& tree, const std::function<bool()>& check) {
    if (::geteuid() != 0) return check();
    constexpr uid_t kNobody = 65534;
    // Hand the tree over without changing any mode bits the test set.
    ::lchown(tree.root().c_str(), kNobody, kNobody);
    for (auto& e : fs::recursive_directory_iterator(
             tree.root(), fs::directory_options::skip_permission_denied)) {
        ::lchown(e.path().c_str(), kNobody, kNobody);
    }
    pid_t child = ::fork();
    if (child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) {
            ::_exit(3);
        }
        ::_exit(check() ? 0 : 1);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

ScopedHome::ScopedHome(const std::string& home) {
    const std::vector<std::pair<std::string, std::string>> values = {
        {"HOME", home},
        {"XDG_DATA_HOME", home + "/.local/share"},
        {"XDG_CONFIG_HOME", home + "/.config"},
        {"XDG_CACHE_HOME", home + "/.cache"},
    };
    for (const auto& [k, v] : values) {
        if (const char* old = std::getenv(k.c_str())) {
            saved_.emplace_back(k, old);
        } else {
            unset_.push_back(k);
        }
        ::setenv(k.c_str(), v.c_str(), 1);
    }
}

ScopedHome::~ScopedHome() {
    for (const auto& [k, v] : saved_) ::setenv(k.c_str(), v.c_str(), 1);
    for (const auto& k : unset_) ::unsetenv(k.c_str());
}

}  // namespace velmora::test
