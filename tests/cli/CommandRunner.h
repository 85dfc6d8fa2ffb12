#pragma once
// Runs the built `velmora` (or another program) as a user would, in a child process whose HOME
// and XDG folders lie in a throw-away tree, with no terminal on standard input. Arguments are
// passed as raw bytes (no shell), so names with newlines or invalid UTF-8 arrive unchanged.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestTree.h"

extern char** environ;

namespace velmora::test {

struct Outcome {
    int status = -1;  ///< exit status, -1 when the program did not exit normally
    std::string out, err;
};

inline std::string readAll(const std::string& path) {
    std::ostringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

inline unsigned char uc(char c) {
    return static_cast<unsigned char>(c);
}

/// The bytes `text` stands for, with every %XX decoded.
inline std::string percentDecoded(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(uc(text[i + 1])) &&
            std::isxdigit(uc(text[i + 2]))) {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

/// The path a `file://` URL text names (percent-decoded, without a trailing "/").
inline std::string pathOfFileURL(const std::string& url) {
    std::string path = percentDecoded(url.substr(std::string("file://").size()));
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

/// `model` (a candidate of a report) moved to the `userCaches` item at `path`, without a recorded
/// identity or date, as someone editing a report would leave it.
inline nlohmann::json forgedCandidate(nlohmann::json model, const std::string& path,
                                      bool folderURL = false) {
    model["id"] = "userCaches:" + path;
    model["url"] = "file://" + path + (folderURL ? "/" : "");
    model["displayName"] = path.substr(path.rfind('/') + 1);
    model.erase("resourceIdentity");
    model.erase("lastModified");
    return model;
}

struct RunOptions {
    /// Start with this signal (0: none) already waiting, blocked: it arrives as soon as the
    /// program unblocks it, a deterministic "Ctrl-C at the start".
    int signalPending = 0;
    /// Where the program starts; empty: the test's own working directory.
    std::string workingDirectory;
};

/// A home folder in a fresh tree and a way to run commands against it.
class CommandHome {
  public:
    TestTree tree;
    const std::string home = tree.dir("home");
    const std::string dataHome = home + "/.local/share";
    const std::string trashFiles = dataHome + "/Trash/files";
    const std::string trashInfo = dataHome + "/Trash/info";

    /// "NAME=value" entries that replace the tree's value of NAME (or add it) in every run.
    std::vector<std::string> environment;
    /// The catalogue `velmora()` passes.
    std::string catalogue = "linux";

    /// Where `scan()` saves its report for `clean --report`.
    const std::string reportFile = tree.dir("io") + "/report.json";

    std::string homePath(const std::string& relative) const { return home + "/" + relative; }
    std::string cache(const std::string& name) const { return homePath(".cache/" + name); }

    /// A file holding `content` at `~/.cache/<relative>`, with everything in its top folder below
    /// `~/.cache` three days old, so that a standard scan offers that folder.
    std::string oldCacheFile(const std::string& relative, const std::string& content) {
        const std::string path = homePath(".cache/" + relative);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
        const std::string top = relative.substr(0, relative.find('/'));
        tree.setMtimeRecursive("home/.cache/" + top, unixNow() - 3 * 86400);
        return path;
    }

    /// `velmora --home <home> --catalogue <catalogue> <args...>`.
    Outcome velmora(const std::vector<std::string>& args, const RunOptions& options = {}) {
        std::vector<std::string> argv = {VELMORA_BINARY, "--home", home, "--catalogue", catalogue};
        argv.insert(argv.end(), args.begin(), args.end());
        return run(argv, options);
    }

    /// The JSON printed by `velmora <args...> --json`, expecting exit status 0.
    nlohmann::json velmoraJSON(std::vector<std::string> args) {
        args.push_back("--json");
        const Outcome o = velmora(args);
        EXPECT_EQ(o.status, 0) << o.err;
        return nlohmann::json::parse(o.out, nullptr, false);
    }

    /// The report of `scan --json <extra...>`, also saved to `reportFile`.
    nlohmann::json scan(const std::vector<std::string>& extra = {}) {
        std::vector<std::string> args = {"scan", "--json"};
        args.insert(args.end(), extra.begin(), extra.end());
        const Outcome o = velmora(args);
        EXPECT_EQ(o.status, 0) << o.err;
        save(o.out);
        return nlohmann::json::parse(o.out, nullptr, false);
    }
    void save(const std::string& report) const {
        std::ofstream(reportFile, std::ios::binary | std::ios::trunc) << report;
    }

    /// Runs `argv[0]` (a path) with the tree's environment; standard input is /dev/null.
    Outcome run(const std::vector<std::string>& argv, const RunOptions& options = {}) {
        const std::string io = tree.dir("io"), stem = io + "/" + std::to_string(runs_++);
        std::vector<std::string> env = {"HOME=" + home,
                                        "XDG_CACHE_HOME=" + home + "/.cache",
                                        "XDG_DATA_HOME=" + dataHome,
                                        "XDG_CONFIG_HOME=" + home + "/.config",
                                        "TMPDIR=" + io,
                                        "PATH=/usr/bin:/bin",
                                        "LC_ALL=C.UTF-8"};
        for (const auto& entry : environment) {
            const std::string name = entry.substr(0, entry.find('=') + 1);
            std::erase_if(env, [&](const std::string& e) { return e.starts_with(name); });
            env.push_back(entry);
        }
        // Sanitizer settings of the test run apply to the child as well.
        for (char** e = environ; *e != nullptr; ++e) {
            if (std::string(*e).find("SAN_OPTIONS=") != std::string::npos) env.push_back(*e);
        }
        std::vector<char*> args, envp;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        for (const auto& e : env) envp.push_back(const_cast<char*>(e.c_str()));
        args.push_back(nullptr);
        envp.push_back(nullptr);
        const std::string outPath = stem + ".out", errPath = stem + ".err";

        const pid_t child = ::fork();
        if (child == 0) {
            const int in = ::open("/dev/null", O_RDONLY);
            const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (in < 0 || out < 0 || err < 0 || ::dup2(in, 0) < 0 || ::dup2(out, 1) < 0 ||
                ::dup2(err, 2) < 0) {
                ::_exit(127);
            }
            if (!options.workingDirectory.empty() &&
                ::chdir(options.workingDirectory.c_str()) != 0) {
                ::_exit(127);
            }
            if (options.signalPending != 0) {
                sigset_t set;
                sigemptyset(&set);
                sigaddset(&set, options.signalPending);
                if (::sigprocmask(SIG_BLOCK, &set, nullptr) != 0 ||
                    ::raise(options.signalPending) != 0)
                    ::_exit(127);
            }
            ::execve(args[0], args.data(), envp.data());
            ::_exit(127);
        }
        int status = 0;
        if (child < 0 || ::waitpid(child, &status, 0) != child) return {};
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readAll(outPath), readAll(errPath)};
    }

    /// Everything below the home folder: relative path → type, inode, size, modification time
    /// and content. Equal snapshots mean nothing was created, moved, removed or written.
    std::map<std::string, std::string> snapshot() const {
        std::map<std::string, std::string> out;
        for (const auto& e : std::filesystem::recursive_directory_iterator(home)) {
            const std::string path = e.path().string();
            struct stat st {};
            ::lstat(path.c_str(), &st);
            std::string state = std::to_string(st.st_mode) + ":" + std::to_string(st.st_ino) + ":" +
                                std::to_string(st.st_size) + ":" +
                                std::to_string(st.st_mtim.tv_sec) + "." +
                                std::to_string(st.st_mtim.tv_nsec);
            if (S_ISREG(st.st_mode)) state += ":" + readAll(path);
            out[path.substr(home.size())] = state;
        }
        return out;
    }

  private:
    int runs_ = 0;
};

}  // namespace velmora::test
