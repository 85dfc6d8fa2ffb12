#include "support/TestTree.h"

#include "support/Files.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace velmora::test {

namespace fs = std::filesystem;

namespace {
void require(bool ok, const std::string& what) {
    if (!ok) throw std::runtime_error(what + " failed");
}
}  // namespace

TestTree::TestTree() {
    const char* tmp = std::getenv("TMPDIR");
    std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/velmora-test-XXXXXX";
    require(::mkdtemp(tmpl.data()) != nullptr, "mkdtemp");
    root_ = fs::canonical(tmpl).string();
}

TestTree::~TestTree() {
    // Permission tests may leave folders closed; open each before descending into it.
    std::error_code ec;
    ::chmod(root_.c_str(), 0700);
    for (auto it = fs::recursive_directory_iterator(root_, ec); !ec && it != fs::end(it);
         it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec)) ::chmod(it->path().c_str(), 0700);
    }
    fs::remove_all(root_, ec);
}

std::string TestTree::path(const std::string& relative) const {
    return relative.empty() ? root_ : root_ + "/" + relative;
}

std::string TestTree::file(const std::string& relative, size_t size) {
    fs::create_directories(fs::path(path(relative)).parent_path());
    std::ofstream(path(relative), std::ios::binary | std::ios::trunc) << std::string(size, 'x');
    require(fs::file_size(path(relative)) == size, "writing " + relative);
    return path(relative);
}

std::string writeFile(TestTree& tree, const std::string& relative, const std::string& content) {
    writeFile(tree.path(relative), content);
    require(readFile(tree.path(relative)) == content, "writing " + relative);
    return tree.path(relative);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

int64_t allocatedBytes(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_blocks) * 512 : -1;
}

bool exists(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder, ec)) out.push_back(e.path().filename());
    std::sort(out.begin(), out.end());
    return out;
}

std::string TestTree::dir(const std::string& relative) {
    fs::create_directories(path(relative));
    return path(relative);
}

std::string TestTree::symlink(const std::string& relative, const std::string& target) {
    fs::create_directories(fs::path(path(relative)).parent_path());
    require(::symlink(target.c_str(), path(relative).c_str()) == 0, "symlink " + relative);
    return path(relative);
}

void TestTree::setMtime(const std::string& relative, double unixSeconds) {
    const auto seconds = static_cast<time_t>(unixSeconds);
    const timespec ts{seconds,
                      static_cast<long>((unixSeconds - static_cast<double>(seconds)) * 1e9)};
    const timespec times[2] = {ts, ts};
    require(::utimensat(AT_FDCWD, path(relative).c_str(), times, AT_SYMLINK_NOFOLLOW) == 0,
            "utimensat " + relative);
}

void TestTree::setMtimeRecursive(const std::string& relative, double unixSeconds) {
    if (fs::is_directory(fs::symlink_status(path(relative)))) {
        for (auto& e : fs::recursive_directory_iterator(path(relative))) {
            setMtime(e.path().string().substr(root_.size() + 1), unixSeconds);
        }
    }
    setMtime(relative, unixSeconds);
}

void TestTree::chmod(const std::string& relative, mode_t mode) {
    require(::chmod(path(relative).c_str(), mode) == 0, "chmod " + relative);
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
    const pid_t child = ::fork();
    if (child == 0) {
        const bool dropped =
            ::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0;
        ::_exit(dropped ? (check() ? 0 : 1) : 3);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

ScopedHome::ScopedHome(const std::string& home) {
    for (const auto& [k, v] : {std::pair<std::string, std::string>{"HOME", home},
                               {"XDG_DATA_HOME", home + "/.local/share"},
                               {"XDG_CONFIG_HOME", home + "/.config"},
                               {"XDG_CACHE_HOME", home + "/.cache"}}) {
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
