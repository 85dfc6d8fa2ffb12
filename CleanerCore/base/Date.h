#pragma once
// One representation for every timestamp: seconds since 2001-01-01T00:00:00Z as a double.
// File identities compare dates exactly, so a date must survive JSON (shortest round-trip
// formatting) and re-reading from the file system bit for bit: always build one through
// `dateFromTimespec`, never by other arithmetic.
#include <ctime>

namespace velmora {

using Date = double;

/// Seconds between the Unix epoch and 2001-01-01T00:00:00Z.
inline constexpr double kReferenceDateUnixOffset = 978307200.0;

inline Date dateFromTimespec(const timespec& ts) {
    return (static_cast<double>(ts.tv_sec) - kReferenceDateUnixOffset) +
           static_cast<double>(ts.tv_nsec) / 1e9;
}

inline Date dateFromUnixSeconds(double seconds) {
    return seconds - kReferenceDateUnixOffset;
}

/// The wall clock as a Date. Thread-safe.
Date currentDate();

}  // namespace velmora
