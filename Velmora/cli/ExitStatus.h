#pragma once
// What the command's exit status means, for every command, in one place:
//
//   0    done: every item handled (or nothing to do), the report printed, the history intact
//   1    done with failures: some item could not be cleaned or restored, the history could not
//        be written or read, or `history --verify` found a broken chain
//   2    refused: wrong arguments or input the command will not act on; nothing was changed
//   3    `remind` only: a reminder was due but the desktop's notification service could not be
//        reached; nothing was recorded, so the next run tries again
//   128 + N  stopped by signal N (130 Ctrl-C, 143 SIGTERM, 129 SIGHUP); what was done stays
//        done and is recorded (InterruptScope::exitStatus)
namespace velmora::cli {

enum ExitStatus : int {
    kExitDone = 0,
    kExitFailures = 1,
    kExitRefused = 2,
    kExitNotificationUnavailable = 3,
};

}  // namespace velmora::cli
