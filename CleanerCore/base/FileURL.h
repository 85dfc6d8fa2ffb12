#pragma once
// File URLs as the scan model carries them: an absolute, standardized path (raw bytes: Linux
// names need not be UTF-8) plus a directory hint. The URL text is "file://" followed by the
// percent-encoded path and, for a directory other than "/", a trailing "/".
//
// Pure functions, thread-safe, no file-system access.
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// Removes "." components, duplicate separators and resolves ".." lexically (".." above the
/// root stays at the root). A relative input is taken as relative to "/". The result never ends
/// in "/" unless it is "/" itself.
std::string standardizePath(std::string_view path);

/// The last component of a standardized path ("/" for the root).
std::string lastPathComponent(std::string_view path);

/// The standardized path with `component` appended (which may itself contain "/").
std::string appendingPathComponent(std::string_view path, std::string_view component);

/// The parent of a standardized path ("/" for "/").
std::string deletingLastPathComponent(std::string_view path);

/// The extension of the last component as written, without the dot; empty when there is none,
/// the name ends with the dot, or the name begins with its only dot. A view into `path`.
std::string_view pathExtension(std::string_view path);
/// pathExtension with A-Z lowered.
std::string pathExtensionLowercased(std::string_view path);

struct FileURL {
    std::string path;  ///< standardized absolute path, never with a trailing "/" (except "/")
    bool isDirectory = false;

    FileURL() = default;
    /// Standardizes `anyPath`; a trailing "/" in it also marks a directory.
    explicit FileURL(std::string_view anyPath, bool directoryHint = false);
    static FileURL directory(std::string_view anyPath) { return FileURL(anyPath, true); }

    /// "file://" + percent-encoded path (+ "/" for directories).
    std::string absoluteString() const;
    /// Parses the text written by absoluteString; nullopt for anything that is not an absolute
    /// file URL (other schemes, hosts other than empty or "localhost", bad escapes).
    static std::optional<FileURL> fromAbsoluteString(std::string_view text);

    FileURL appending(std::string_view component, bool directoryHint) const;
    std::string lastComponent() const { return lastPathComponent(path); }

    friend bool operator==(const FileURL&, const FileURL&) = default;
};

}  // namespace velmora
