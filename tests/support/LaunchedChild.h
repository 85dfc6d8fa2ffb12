#pragma once
// A real child process started as a desktop launcher starts an application: `sleep 30` with
// GIO_LAUNCHED_DESKTOP_FILE naming a desktop entry and GIO_LAUNCHED_DESKTOP_FILE_PID its own
// process id, so the running-applications survey takes it for that application. The guard kills
// and reaps the child if a test ends before it did.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace velmora::test {

/// Returns once the child has replaced its image (the pipe closes on exec); -1 on failure.
inline pid_t startLaunchedChild(const std::string& desktopFile, const std::string& home) {
    std::string fileVariable = "GIO_LAUNCHED_DESKTOP_FILE=" + desktopFile;
    std::string homeVariable = "HOME=" + home;
    std::string dataVariable = "XDG_DATA_HOME=" + home + "/.local/share";
    char pidVariable[64] = "GIO_LAUNCHED_DESKTOP_FILE_PID=";
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        // Only async-signal-safe work here: the pid's digits written by hand.
        char digits[16];
        int n = 0;
        for (pid_t p = ::getpid(); p > 0; p /= 10) digits[n++] = static_cast<char>('0' + p % 10);
        size_t at = sizeof "GIO_LAUNCHED_DESKTOP_FILE_PID=" - 1;
        while (n > 0) pidVariable[at++] = digits[--n];
        pidVariable[at] = '\0';
        char* const argv[] = {const_cast<char*>("sleep"), const_cast<char*>("30"), nullptr};
        char* const envp[] = {fileVariable.data(),
                              pidVariable,
                              homeVariable.data(),
                              dataVariable.data(),
                              const_cast<char*>("PATH=/usr/bin:/bin"),
                              nullptr};
        ::execve("/bin/sleep", argv, envp);
        ::execve("/usr/bin/sleep", argv, envp);
        ::_exit(127);
    }
    ::close(ready[1]);
    char byte;
    while (::read(ready[0], &byte, 1) > 0) {
    }
    ::close(ready[0]);
    return child;
}

/// Kills and reaps `pid` at the end of the scope unless it was released (set to 0).
struct ChildReaper {
    pid_t pid;
    ~ChildReaper() {
        if (pid <= 0) return;
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
};

}  // namespace velmora::test
