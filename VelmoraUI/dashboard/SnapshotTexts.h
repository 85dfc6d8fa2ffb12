#pragma once
// What a scan's snapshot capture has to tell the person: the snapshot store was set aside, or
// this scan's snapshot could not be kept. A normal save says nothing. The command prints each
// sentence after its "velmora: " prefix; the application shows them together as one notice.
// Pure and thread-safe.
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/workflows/SnapshotCapture.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// The sentence saying the snapshot store was set aside for `issue`, in lower case as below; none
/// for `unavailable` (nothing was set aside).
std::optional<std::string> snapshotStoreSentence(DeltaBlameStoreIssue issue, AppLanguage language);

/// The sentences for `outcome` in `language`, in the order they happened (the store first,
/// then this scan's snapshot), each starting in lower case as a command's diagnostic does.
/// Empty when the snapshot was kept without trouble or the scan did not complete.
std::vector<std::string> snapshotCaptureSentences(const SnapshotCaptureOutcome& outcome,
                                                  AppLanguage language);

/// The same sentences as one notice for a window, each starting with a capital letter; none
/// when there is nothing to say.
std::optional<std::string> snapshotCaptureNotice(const SnapshotCaptureOutcome& outcome,
                                                 AppLanguage language);

/// The store sentence as a notice for a window (a reader of the store, such as the growth view,
/// met `issue`).
std::optional<std::string> snapshotStoreNotice(DeltaBlameStoreIssue issue, AppLanguage language);

}  // namespace velmora
