#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <deque>
#include <mutex>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/delta-blame/DeltaBlameValidation.h"
#include "CleanerCore/platform/CappedFileRead.h"
#include "CleanerCore/platform/ExclusiveFileLock.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

using json = nlohmann::json;

std::mutex& storeQueue() {
    static std::mutex queue;
    return queue;
}

// One snapshot as it is kept: the value and, once it is needed for writing, its encoded text.
struct Kept {
    DeltaBlameSnapshotDraftEnvelope envelope;
    std::string encoded;  ///< empty until `encodeAll`
};

// Loading only reads; the texts are made when a file is to be written.
void encodeAll(std::deque<Kept>& kept) {
    for (auto& k : kept)
        if (k.encoded.empty()) k.encoded = deltaBlameEnvelopeToJson(k.envelope).dump();
}

struct Loaded {
    std::deque<Kept> kept;
    DeltaBlameStoreState state;  ///< issue and backup; snapshots filled at the end
    bool mayWrite = true;        ///< false when writing could destroy a file nobody set aside
    bool changed = false;        ///< the file should be rewritten
};

std::string document(const std::string& keyCheck, const std::deque<Kept>& kept) {
    std::string out = "{\"keyCheck\":" + json(keyCheck).dump() +
                      ",\"schemaVersion\":" + std::to_string(kDeltaBlameSchemaVersion) +
                      ",\"snapshots\":[";
    for (size_t i = 0; i < kept.size(); ++i) {
        if (i) out += ',';
        out += kept[i].encoded;
    }
    out += "]}";
    return out;
}

size_t documentSize(const std::string& keyCheck, const std::deque<Kept>& kept) {
    size_t size = document(keyCheck, {}).size();
    for (const auto& k : kept) size += k.encoded.size();
    return size + (kept.empty() ? 0 : kept.size() - 1);
}

// Drops the oldest until the count and the size hold. True when something was dropped.
bool trim(std::deque<Kept>& kept, const DeltaBlameLimits& limits, const std::string& keyCheck) {
    bool dropped = false;
    while (!kept.empty() &&
           (static_cast<int64_t>(kept.size()) > limits.maximumSnapshots ||
            static_cast<int64_t>(documentSize(keyCheck, kept)) > limits.maximumEncodedStoreBytes)) {
        kept.pop_front();
        dropped = true;
    }
    return dropped;
}

DeltaBlameLimits clamped(DeltaBlameLimits limits) {
    limits.maximumSnapshots = std::max<int64_t>(1, limits.maximumSnapshots);
    limits.maximumEncodedStoreBytes =
        std::clamp<int64_t>(limits.maximumEncodedStoreBytes, 1, kDeltaBlameMaximumEncodedBytes);
    return limits;
}

Loaded loadFile(const std::string& path, const DeltaBlameLimits& limits,
                const std::string& keyCheck, bool mayModify) {
    Loaded out;
    auto startAnew = [&](DeltaBlameStoreIssue issue) {
        out.kept.clear();
        out.state.issue = issue;
        if (mayModify) out.state.backupPath = setFileAside(path, rawValue(issue));
        out.mayWrite = out.state.backupPath.has_value();
    };
    CappedRead read = readFileCapped(path, static_cast<size_t>(limits.maximumEncodedStoreBytes));
    switch (read.state) {
        case CappedReadState::missing:
            return out;
        case CappedReadState::unavailable:
            out.state.issue = DeltaBlameStoreIssue::unavailable;
            out.mayWrite = false;
            return out;
        case CappedReadState::oversized:
            startAnew(DeltaBlameStoreIssue::oversized);
            return out;
        case CappedReadState::unreadable:
            startAnew(DeltaBlameStoreIssue::unreadable);
            return out;
        case CappedReadState::data:
            break;
    }

    json doc = json::parse(read.data, nullptr, /*allow_exceptions=*/false);
    const bool wellFormed = doc.is_object() && doc.contains("keyCheck") &&
                            doc["keyCheck"].is_string() && doc.contains("schemaVersion") &&
                            doc["schemaVersion"] == kDeltaBlameSchemaVersion &&
                            doc.contains("snapshots") && doc["snapshots"].is_array();
    if (!wellFormed) {
        startAnew(DeltaBlameStoreIssue::undecodable);
        return out;
    }
    if (doc["keyCheck"].get_ref<const std::string&>() != keyCheck) {
        startAnew(DeltaBlameStoreIssue::otherKey);
        return out;
    }
    for (const auto& item : doc["snapshots"]) {
        try {
            auto envelope = deltaBlameEnvelopeFromJson(item);
            if (validateDeltaBlameDraft(envelope.draft, envelope.limits)) {
                ++out.state.droppedSnapshots;
                continue;
            }
            out.kept.push_back({std::move(envelope), {}});
        } catch (const std::exception&) {
            ++out.state.droppedSnapshots;
        }
    }
    if (out.state.droppedSnapshots > 0) {
        out.state.issue = DeltaBlameStoreIssue::invalidSnapshots;
        if (mayModify) out.state.backupPath = setFileAside(path, rawValue(*out.state.issue));
        out.mayWrite = out.state.backupPath.has_value();
        out.changed = true;
    }
    // The read cap already bounds the size; a file written under a larger count is cut here.
    while (static_cast<int64_t>(out.kept.size()) > limits.maximumSnapshots) {
        out.kept.pop_front();
        out.changed = true;
    }
    return out;
}

DeltaBlameStoreState finish(Loaded& loaded) {
    DeltaBlameStoreState state = std::move(loaded.state);
    state.snapshots.clear();
    for (auto& k : loaded.kept) state.snapshots.push_back(std::move(k.envelope));
    return state;
}

}  // namespace

std::string_view rawValue(DeltaBlameStoreIssue issue) {
    switch (issue) {
        case DeltaBlameStoreIssue::oversized:
            return "oversized";
        case DeltaBlameStoreIssue::unreadable:
            return "unreadable";
        case DeltaBlameStoreIssue::undecodable:
            return "undecodable";
        case DeltaBlameStoreIssue::otherKey:
            return "otherKey";
        case DeltaBlameStoreIssue::invalidSnapshots:
            return "invalidSnapshots";
        case DeltaBlameStoreIssue::unavailable:
            return "unavailable";
    }
    return {};
}

std::string DeltaBlameStoreState::notice() const {
    if (!issue) return {};
    switch (*issue) {
        case DeltaBlameStoreIssue::oversized:
        case DeltaBlameStoreIssue::unreadable:
        case DeltaBlameStoreIssue::undecodable:
            return "The saved scan snapshots could not be read. They were set aside and new "
                   "snapshots start now.";
        case DeltaBlameStoreIssue::otherKey:
            return "The saved scan snapshots were made with another installation key and can no "
                   "longer be compared. They were set aside and new snapshots start now.";
        case DeltaBlameStoreIssue::invalidSnapshots:
            return "Some saved scan snapshots were damaged and have been left out. The file as it "
                   "was has been set aside.";
        case DeltaBlameStoreIssue::unavailable:
            return "The saved scan snapshots could not be opened right now.";
    }
    return {};
}

DeltaBlameSnapshotStore::DeltaBlameSnapshotStore(std::string filePath,
                                                 DeltaBlameIdentityHMACProvider provider,
                                                 DeltaBlameLimits limits)
    : filePath_(std::move(filePath)), provider_(provider), limits_(clamped(limits)) {}

std::string DeltaBlameSnapshotStore::defaultFilePath(const std::string& dataHome) {
    return appendingPathComponent(appendingPathComponent(dataHome, "Velmora"),
                                  "delta-blame-snapshots.json");
}

DeltaBlameStoreState DeltaBlameSnapshotStore::load() const {
    std::lock_guard guard(storeQueue());
    const auto lock = ExclusiveFileLock::acquire(filePath_ + ".lock");
    const std::string keyCheck = provider_.storeKeyCheck();
    Loaded loaded = loadFile(filePath_, limits_, keyCheck, lock.has_value());
    if (lock && loaded.changed && loaded.mayWrite) {
        encodeAll(loaded.kept);
        (void)writeFileAtomically(filePath_, document(keyCheck, loaded.kept));
    }
    return finish(loaded);
}

DeltaBlameStoreSaveResult DeltaBlameSnapshotStore::save(
    const DeltaBlameSnapshotDraftEnvelope& envelope) const {
    using Refusal = std::variant<DeltaBlameValidationError, DeltaBlameTemporaryCodecError>;
    DeltaBlameStoreSaveResult result;
    const std::string keyCheck = provider_.storeKeyCheck();
    // A refused snapshot changes nothing: the file is only read.
    auto readOnly = [&] {
        std::lock_guard guard(storeQueue());
        Loaded loaded = loadFile(filePath_, limits_, keyCheck, /*mayModify=*/false);
        return finish(loaded);
    };
    if (auto e = validateDeltaBlameDraft(envelope.draft, envelope.limits)) {
        result.refused = Refusal{*e};
        result.state = readOnly();
        return result;
    }
    auto encoded = DeltaBlameTemporaryCodec::encode(envelope, limits_.maximumEncodedStoreBytes);
    if (encoded && static_cast<int64_t>(documentSize(keyCheck, {}) + encoded->size()) >
                       limits_.maximumEncodedStoreBytes)
        encoded = Failure{DeltaBlameTemporaryCodecError{
            DeltaBlameTemporaryCodecError::Kind::encodedPayloadTooLarge,
            static_cast<int64_t>(documentSize(keyCheck, {}) + encoded->size()),
            limits_.maximumEncodedStoreBytes,
            {}}};
    if (!encoded) {
        result.refused = Refusal{encoded.error()};
        result.state = readOnly();
        return result;
    }

    std::lock_guard guard(storeQueue());
    const bool haveFolder = createFolders(deletingLastPathComponent(filePath_), 0700);
    const auto lock = ExclusiveFileLock::acquire(filePath_ + ".lock");
    Loaded loaded = loadFile(filePath_, limits_, keyCheck, lock.has_value());
    if (!haveFolder || !lock || !loaded.mayWrite) {
        result.state = finish(loaded);
        return result;
    }
    std::erase_if(loaded.kept, [&](const Kept& k) {
        return k.envelope.draft.snapshotID == envelope.draft.snapshotID;
    });
    encodeAll(loaded.kept);
    std::deque<Kept> next = loaded.kept;
    next.push_back({envelope, std::move(*encoded)});
    trim(next, limits_, keyCheck);
    result.writeFailure = writeFileAtomically(filePath_, document(keyCheck, next));
    result.written = !result.writeFailure;
    // After a failed write the file still holds what was loaded.
    if (result.written) loaded.kept = std::move(next);
    result.state = finish(loaded);
    return result;
}

}  // namespace velmora
