#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
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

// One snapshot as it is kept: its encoded text and, when it was decoded, its value.
struct Kept {
    std::optional<DeltaBlameSnapshotDraftEnvelope> envelope;
    std::string encoded;
};

struct Loaded {
    std::deque<Kept> kept;
    DeltaBlameStoreState state;  ///< issue and backup; snapshots filled at the end
    bool mayWrite = true;        ///< false when writing could destroy a file nobody set aside
    bool changed = false;        ///< the file should be rewritten
};

// The layout this store writes: the header (through "[") on the first line, one snapshot per
// line, each but the last followed by a comma, and "]}" on the last line. A snapshot's compact
// JSON never holds a raw line break, so a save can carry the snapshots of such a file over as
// lines without decoding them (which costs far more than the scan it follows); a load decodes
// and validates every one.
constexpr std::string_view kFooter = "]}\n";

std::string header(const std::string& keyCheck) {
    return "{\"keyCheck\":" + json(keyCheck).dump() +
           ",\"schemaVersion\":" + std::to_string(kDeltaBlameSchemaVersion) + ",\"snapshots\":[\n";
}

std::string document(const std::string& keyCheck, const std::deque<Kept>& kept) {
    std::string out = header(keyCheck);
    for (size_t i = 0; i < kept.size(); ++i) {
        out += kept[i].encoded;
        if (i + 1 < kept.size()) out += ',';
        out += '\n';
    }
    out += kFooter;
    return out;
}

// The snapshots of a file in this store's own layout under `keyCheck`, as lines; nullopt for
// anything else (another layout, another key, a cut line), which then goes through the parser.
std::optional<std::deque<Kept>> ownLayoutLines(std::string_view data, const std::string& keyCheck) {
    const std::string head = header(keyCheck);
    if (data.size() < head.size() + kFooter.size() || !data.starts_with(head) ||
        !data.ends_with(kFooter))
        return std::nullopt;
    std::string_view body = data.substr(head.size(), data.size() - head.size() - kFooter.size());
    std::deque<Kept> kept;
    while (!body.empty()) {
        const size_t end = body.find('\n');
        if (end == std::string_view::npos) return std::nullopt;
        std::string_view line = body.substr(0, end);
        body.remove_prefix(end + 1);
        if (!body.empty()) {
            if (!line.ends_with(',')) return std::nullopt;
            line.remove_suffix(1);
        }
        if (line.size() < 2 || line.front() != '{' || line.back() != '}') return std::nullopt;
        kept.push_back({std::nullopt, std::string(line)});
    }
    return kept;
}

bool holdsSnapshot(const Kept& kept, const std::string& snapshotID) {
    if (kept.envelope) return kept.envelope->draft.snapshotID == snapshotID;
    const std::string needle = "\"snapshotID\":" + json(snapshotID).dump();
    // memmem: a line is a few hundred kilobytes, and a save looks through every one.
    return ::memmem(kept.encoded.data(), kept.encoded.size(), needle.data(), needle.size()) !=
           nullptr;
}

size_t documentSize(const std::string& keyCheck, const std::deque<Kept>& kept) {
    size_t size = header(keyCheck).size() + kFooter.size();
    for (const auto& k : kept) size += k.encoded.size() + 1;
    return size + (kept.empty() ? 0 : kept.size() - 1);
}

// Drops the oldest until the count and the size hold; returns them, oldest first.
std::deque<Kept> trim(std::deque<Kept>& kept, const DeltaBlameLimits& limits,
                      const std::string& keyCheck) {
    std::deque<Kept> dropped;
    size_t size = documentSize(keyCheck, kept);
    while (!kept.empty() && (static_cast<int64_t>(kept.size()) > limits.maximumSnapshots ||
                             static_cast<int64_t>(size) > limits.maximumEncodedStoreBytes)) {
        size -= kept.front().encoded.size() + 1 + (kept.size() > 1 ? 1 : 0);
        dropped.push_back(std::move(kept.front()));
        kept.pop_front();
    }
    return dropped;
}

DeltaBlameLimits clamped(DeltaBlameLimits limits) {
    limits.maximumSnapshots = std::max<int64_t>(1, limits.maximumSnapshots);
    limits.maximumEncodedStoreBytes =
        std::clamp<int64_t>(limits.maximumEncodedStoreBytes, 1, kDeltaBlameMaximumEncodedBytes);
    return limits;
}

// `forSave`: the snapshots of a file in the store's own layout are carried over undecoded.
Loaded loadFile(const std::string& path, const DeltaBlameLimits& limits,
                const std::string& keyCheck, bool mayModify, bool forSave = false) {
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
    if (forSave) {
        if (auto lines = ownLayoutLines(read.data, keyCheck)) {
            out.kept = std::move(*lines);
            return out;
        }
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
            // A valid snapshot's document is its encoding (sorted keys, whole numbers only).
            out.kept.push_back({std::move(envelope), item.dump()});
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
    for (auto& k : loaded.kept)
        if (k.envelope) state.snapshots.push_back(std::move(*k.envelope));
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
    if (lock && loaded.changed && loaded.mayWrite)
        (void)writeFileAtomically(filePath_, document(keyCheck, loaded.kept));
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
        result.keptSnapshots = static_cast<int64_t>(loaded.kept.size());
        return std::move(loaded.state);
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
    Loaded loaded = loadFile(filePath_, limits_, keyCheck, lock.has_value(), /*forSave=*/true);
    if (!haveFolder || !lock || !loaded.mayWrite) {
        result.keptSnapshots = static_cast<int64_t>(loaded.kept.size());
        result.state = std::move(loaded.state);
        return result;
    }
    std::erase_if(loaded.kept,
                  [&](const Kept& k) { return holdsSnapshot(k, envelope.draft.snapshotID); });
    loaded.kept.push_back({std::nullopt, std::move(*encoded)});
    auto dropped = trim(loaded.kept, limits_, keyCheck);
    result.writeFailure = writeFileAtomically(filePath_, document(keyCheck, loaded.kept));
    result.written = !result.writeFailure;
    if (!result.written) {  // the file still holds what was there
        loaded.kept.pop_back();
        loaded.kept.insert(loaded.kept.begin(), std::make_move_iterator(dropped.begin()),
                           std::make_move_iterator(dropped.end()));
    }
    result.keptSnapshots = static_cast<int64_t>(loaded.kept.size());
    result.state = std::move(loaded.state);
    return result;
}

}  // namespace velmora
