#pragma once
// The security review rule of the insight scan: classifies a file by its name only (no content
// is read) and ranks the findings.
//
// 1. The lowercased extension in the eight-row table gives the detail ("pkg" "Installer
//    package", "dmg" "Disk image", "mobileconfig" "Configuration profile", "command" "Executable
//    command script", "sh" "Shell script", "app" "Application bundle", "workflow" "Automation
//    workflow", "webloc" "Web shortcut").
// 2. Otherwise the lowercased name is split into words at every ASCII character that is not a
//    letter or digit (bytes of multi-byte UTF-8 characters belong to words); a word exactly
//    "crack", "keygen" or "patcher" gives "Suspicious filename pattern", unless the extension is
//    one of documents, images, subtitles and notes (txt, md, markdown, rst, pdf, rtf, doc, docx,
//    odt, html, htm, nfo, log, json, xml, csv, jpg, jpeg, png, gif, webp, svg, srt, sub, vtt),
//    which discuss such tools rather than carry them.
// 3. Otherwise nullopt.
//
// Severity: "mobileconfig" 5; "pkg", "app" 4; "command", "sh", "workflow" 3; "dmg" 2; else 1.
//
// The `linux` catalogue adds what a Linux user downloads and runs, with the table above kept:
// "deb" "Debian software package", "rpm" "RPM software package" and "run" "Self-extracting
// installer" 4 (they install with administrator rights and run their own scripts); "appimage"
// "AppImage application", "snap" "Snap package" and "flatpakref" "Flatpak install link" 3 (they
// run or install software as the user; a Flatpak link may also add a software source); "iso" and
// "img" "Disk image" 2, as "dmg"; "exe" "Windows program" and "msi" "Windows installer package"
// 1 (they do not run without a compatibility layer). See docs/insights.md.
// Pure, thread-safe.
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/safety/PathConventions.h"

namespace velmora {

inline constexpr std::string_view kSuspiciousFilenamePattern = "Suspicious filename pattern";

/// The detail text for `fileName` (the last path component), or nullopt for no finding.
std::optional<std::string> securityDetail(std::string_view fileName,
                                          Catalogue catalogue = Catalogue::macos);

/// The rank of a finding named `fileName`: higher is more severe.
int securitySeverity(std::string_view fileName, Catalogue catalogue = Catalogue::macos);

}  // namespace velmora
