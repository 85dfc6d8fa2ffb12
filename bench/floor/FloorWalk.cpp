// The least a size walk can do, as a yardstick for the scanner: list every folder with
// getdents64, open sub-folders (O_NOFOLLOW) and describe them with fstat, describe everything else
// with fstatat, sum st_blocks, nothing more. The top-level entries of the given folders are
// shared out to THREADS threads from one counter, as the scanner does.
// Usage: velmora_floor_walk THREADS FOLDER...   Prints the allocated bytes.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct LinuxDirent64 {
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};

std::atomic<long long> g_blocks{0};

bool isDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Type byte, name, NUL; read whole before anything is described, as the scanner does.
std::string list(int fd) {
    std::string names;
    alignas(8) char buffer[65536];
    for (;;) {
        const long n = syscall(SYS_getdents64, fd, buffer, sizeof buffer);
        if (n <= 0) break;
        for (long offset = 0; offset < n;) {
            const auto* d = reinterpret_cast<const LinuxDirent64*>(buffer + offset);
            offset += d->d_reclen;
            if (isDotOrDotDot(d->d_name)) continue;
            names.push_back(static_cast<char>(d->d_type));
            names += d->d_name;
            names.push_back('\0');
        }
    }
    return names;
}

void describe(int parent, const char* name, unsigned char type);

void walk(int fd) {
    const std::string names = list(fd);
    for (size_t i = 0; i < names.size();) {
        const auto type = static_cast<unsigned char>(names[i]);
        const char* name = names.c_str() + i + 1;
        i += std::strlen(name) + 2;
        describe(fd, name, type);
    }
}

void describe(int parent, const char* name, unsigned char type) {
    struct stat st {};
    if (type == DT_DIR) {
        const int child = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (child >= 0) {
            if (fstat(child, &st) == 0) g_blocks += st.st_blocks;
            walk(child);
            close(child);
            return;
        }
    }
    if (fstatat(parent, name, &st, AT_SYMLINK_NOFOLLOW) == 0) g_blocks += st.st_blocks;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s THREADS FOLDER...\n", argv[0]);
        return 2;
    }
    const int threads = std::max(1, std::atoi(argv[1]));
    std::vector<std::pair<int, std::string>> tasks;
    for (int a = 2; a < argc; ++a) {
        const int fd = open(argv[a], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) continue;
        const std::string names = list(fd);
        for (size_t i = 0; i < names.size();) {
            const char* name = names.c_str() + i + 1;
            i += std::strlen(name) + 2;
            tasks.emplace_back(fd, name);
        }
    }
    std::atomic<size_t> next{0};
    auto worker = [&] {
        for (size_t i = next++; i < tasks.size(); i = next++) {
            describe(tasks[i].first, tasks[i].second.c_str(), DT_DIR);
        }
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t) pool.emplace_back(worker);
    worker();
    for (auto& t : pool) t.join();
    std::printf("%lld\n", g_blocks.load() * 512);
    return 0;
}
