#include "Velmora/desktop/ReviewDialogs.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/review/CleanupProofCard.h"
#include "CleanerCore/review/CleanupSelectionPreview.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::desktop {
namespace {

QLabel* wrapped(const QString& text) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QString checkTitle(CleanupProofCheckKind kind, const UiCopy& copy) {
    switch (kind) {
        case CleanupProofCheckKind::directNoTouchPath:
            return copy.text("Outside protected personal data", "보호된 개인 데이터 밖");
        case CleanupProofCheckKind::manualReviewPolicy:
            return copy.text("Review policy", "검토 정책");
        case CleanupProofCheckKind::cleanupTimeRevalidation:
            return copy.text("Checked again before it moves", "옮기기 전에 다시 확인");
    }
    return {};
}

QString checkState(CleanupProofCheckState state, const UiCopy& copy) {
    switch (state) {
        case CleanupProofCheckState::passed:
            return copy.text("Passed", "통과");
        case CleanupProofCheckState::needsReview:
            return copy.text("Needs your review", "검토 필요");
        case CleanupProofCheckState::blocked:
            return copy.text("Blocked", "차단됨");
        case CleanupProofCheckState::required:
            return copy.text("Always done", "항상 수행");
    }
    return {};
}

QString recommendation(CleanupProofRecommendationState state, const UiCopy& copy) {
    switch (state) {
        case CleanupProofRecommendationState::reviewReady:
            return copy.text("Ready for review: regenerable material in a cache location.",
                             "검토 준비됨: 캐시 위치에 있는 다시 만들 수 있는 자료입니다.");
        case CleanupProofRecommendationState::manualReviewRequired:
            return copy.text(
                "Look at it before you confirm: making it again can cost time or a "
                "download.",
                "확인하기 전에 살펴보세요. 다시 만드는 데 시간이나 내려받기가 필요할 "
                "수 있습니다.");
        case CleanupProofRecommendationState::blockedByPolicy:
            return copy.text("Blocked: it lies in protected personal data and is never cleaned.",
                             "차단됨: 보호된 개인 데이터 안에 있어 절대 정리하지 않습니다.");
    }
    return {};
}

}  // namespace

void addMoveConfirmationEnd(QDialog& dialog, QVBoxLayout& layout,
                            const std::vector<MovingItem>& items, const std::string& home,
                            AppLanguage language) {
    const UiCopy copy{language};
    auto* list = new QListWidget;
    list->setObjectName("confirmationItems");
    for (const auto& item : items) {
        list->addItem(qs(printable(displayPath(item.path, home))) + "  (" +
                      qs(bytesText(item.sizeBytes, language)) + ")");
    }
    layout.addWidget(list, 1);
    layout.addWidget(wrapped(copy.text(
        "Each item is checked again and moved to the Trash only if it is still the item that was "
        "scanned. You can put everything back from the history.",
        "각 항목은 다시 확인하여 검사한 그 항목일 때만 휴지통으로 옮깁니다. 모든 항목은 "
        "기록에서 되돌릴 수 있습니다.")));
    auto* buttons = new QDialogButtonBox;
    QPushButton* move = buttons->addButton(copy.text("Move to Trash", "휴지통으로 이동"),
                                           QDialogButtonBox::AcceptRole);
    move->setObjectName("confirmMoveButton");
    buttons->addButton(copy.text("Cancel", "취소"), QDialogButtonBox::RejectRole);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout.addWidget(buttons);
}

ConfirmationDialog::ConfirmationDialog(const std::vector<CleanupCandidate>& selection,
                                       const std::string& home, AppLanguage language,
                                       QWidget* parent)
    : QDialog(parent) {
    setObjectName("confirmationDialog");
    const UiCopy copy{language};
    setWindowTitle(copy.text("Move to Trash", "휴지통으로 이동"));
    const CleanupSelectionPreview preview = CleanupSelectionPreview::make(selection);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(wrapped(qs(selectionSummaryText(preview.count, preview.bytes, language))));
    const auto& s = preview.safetyBreakdown;
    layout->addWidget(wrapped(
        qs(safetyBreakdownText(s.safeCount, s.cautionCount, s.manualReviewCount, language))));
    for (const auto& summary : preview.categorySummaries) {
        layout->addWidget(wrapped(
            qs(labelledText(categoryTitle(summary.category, language),
                            itemsAndBytesText(summary.count, summary.bytes, language), language))));
    }
    std::vector<MovingItem> items;
    for (const auto& c : selection) items.push_back({c.url.path, c.sizeBytes});
    addMoveConfirmationEnd(*this, *layout, items, home, language);
    resize(560, 480);
}

CandidateDetailsDialog::CandidateDetailsDialog(const CleanupCandidate& candidate,
                                               const std::string& home, Catalogue catalogue,
                                               AppLanguage language, QWidget* parent)
    : QDialog(parent) {
    setObjectName("detailsDialog");
    const UiCopy copy{language};
    setWindowTitle(qs(printable(candidate.displayName)));
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    form->addRow(copy.text("Location:", "위치:"),
                 wrapped(qs(printable(displayPath(candidate.url.path, home)))));
    form->addRow(copy.text("Size:", "크기:"),
                 wrapped(qs(bytesText(candidate.sizeBytes, language))));
    form->addRow(copy.text("Category:", "분류:"),
                 wrapped(qs(categoryTitle(candidate.category, language))));
    form->addRow(copy.text("Safety:", "안전 수준:"),
                 wrapped(qs(safetyTitle(candidate.safety, language))));
    if (candidate.lastModified) {
        form->addRow(copy.text("Modified:", "수정한 날짜:"),
                     wrapped(uiLocale(language).toString(
                         QDateTime::fromSecsSinceEpoch(
                             qint64(*candidate.lastModified + kReferenceDateUnixOffset)),
                         QLocale::LongFormat)));
    }
    layout->addLayout(form);

    const CleanupProofCard card = cleanupProofCard(candidate, catalogue);
    auto* heading = new QLabel(copy.text("Why it is offered", "제안하는 이유"));
    markHeading(heading, 2);
    layout->addWidget(heading);
    layout->addWidget(wrapped(recommendation(card.recommendationState, copy)));
    auto* checks = new QFormLayout;
    for (const auto& check : card.checks)
        checks->addRow(checkTitle(check.kind, copy), wrapped(checkState(check.state, copy)));
    layout->addLayout(checks);
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(copy.text("Close", "닫기"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

}  // namespace velmora::desktop
