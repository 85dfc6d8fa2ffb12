#include "Velmora/cli/ProgressBar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <fmt/format.h>
#include <cstdio>

#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora::cli {

namespace {
size_t terminalColumns() {
    winsize ws{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 20) return ws.ws_col;
    return 80;
}

// Keeps the end of a path, which says more than its start: "…/mozilla/firefox/cache2".
std::string fitFromEnd(const std::string& text, size_t columns) {
    if (displayWidth(text) <= columns) return text;
    size_t start = 0;
    while (start < text.size() &&
           displayWidth(std::string_view(text).substr(start)) + 1 > columns) {
        ++start;
        while (start < text.size() && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
            ++start;
    }
    return "…" + text.substr(start);
}
}  // namespace

bool standardErrorIsTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

void ProgressBar::show(const StorageScanProgress& p) {
    std::lock_guard lock(mutex_);
    constexpr int kBarWidth = 24;
    const int filled = static_cast<int>(p.fractionCompleted * kBarWidth + 0.5);
    std::string bar = std::string(static_cast<size_t>(filled), '#') +
                      std::string(static_cast<size_t>(kBarWidth - filled), '-');
    // i18n-example: "1 item  0 found"
    // i18n-example: "1234 items  5 found"
    const std::string counts = VelmoraCopy{language_}.text(
        fmt::format("{} {}  {} found", p.completedItems, p.completedItems == 1 ? "item" : "items",
                    p.foundCandidates),
        fmt::format("항목 {}개  후보 {}개", p.completedItems, p.foundCandidates));
    std::string head = fmt::format("[{}] {:3.0f}%  {}  ", bar, p.fractionCompleted * 100, counts);
    const size_t columns = terminalColumns() - 1;
    std::string where = p.currentURL ? printable(displayPath(p.currentURL->path, home_)) : "";
    std::string line = head;
    const size_t headWidth = displayWidth(head);
    if (headWidth < columns) line += fitFromEnd(where, columns - headWidth);
    std::string out = "\r\x1b[2K" + line;
    std::fwrite(out.data(), 1, out.size(), stderr);
    std::fflush(stderr);
    drawn_ = true;
}

void ProgressBar::clear() {
    std::lock_guard lock(mutex_);
    if (!drawn_) return;
    std::fputs("\r\x1b[2K", stderr);
    std::fflush(stderr);
    drawn_ = false;
}

TerminalProgress::TerminalProgress(std::string home, bool quiet, AppLanguage language)
    : bar_(std::move(home), language) {
    if (quiet || !standardErrorIsTerminal()) return;
    scheduler_ = std::make_unique<ThreadScheduler>();
    // Not owning: the scheduler lives exactly as long as this object.
    std::shared_ptr<Scheduler> scheduler(std::shared_ptr<Scheduler>{}, scheduler_.get());
    coalescer_ = ScanProgressCoalescer::make([this](const StorageScanProgress& p) { bar_.show(p); },
                                             std::make_shared<SteadyClock>(), scheduler);
}

TerminalProgress::~TerminalProgress() {
    finish();
    scheduler_.reset();  // joins the timer thread; a flush running there completes first
}

std::function<void(const StorageScanProgress&)> TerminalProgress::callback() const {
    if (!coalescer_) return {};
    return [coalescer = coalescer_](const StorageScanProgress& p) { coalescer->offer(p); };
}

void TerminalProgress::finish() {
    if (!coalescer_) return;
    coalescer_->finish();
    bar_.clear();
}

}  // namespace velmora::cli
