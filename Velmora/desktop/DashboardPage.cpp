#include "Velmora/desktop/DashboardPage.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::desktop {

DashboardPage::DashboardPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      title_(new QLabel),
      rule_(new QLabel),
      summary_(new QLabel),
      reappearance_(new QLabel),
      reviewStatus_(new QLabel),
      advanced_(new QToolButton),
      advancedBox_(new QWidget),
      modeLabel_(new QLabel),
      mode_(new QComboBox),
      modeHint_(new QLabel),
      scan_(new QPushButton),
      cancel_(new QPushButton),
      progress_(new QProgressBar),
      progressText_(new QLabel),
      message_(new QLabel) {
    setObjectName("dashboardPage");
    scan_->setObjectName("scanButton");
    cancel_->setObjectName("cancelScanButton");
    mode_->setObjectName("scanModeBox");
    markHeading(title_, 1);
    for (QLabel* l :
         {rule_, summary_, reappearance_, reviewStatus_, modeHint_, progressText_, message_}) {
        l->setWordWrap(true);
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    message_->setObjectName("dashboardMessage");
    reappearance_->setObjectName("dashboardReappearance");
    progress_->setRange(0, 1000);
    progress_->setTextVisible(false);
    scan_->setDefault(true);

    advanced_->setObjectName("advancedOptionsButton");
    advanced_->setCheckable(true);
    advanced_->setAutoRaise(true);
    advanced_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    auto* advancedLayout = new QVBoxLayout(advancedBox_);
    advancedLayout->setContentsMargins(0, 0, 0, 0);
    auto* modeRow = new QHBoxLayout;
    modeRow->addWidget(modeLabel_);
    modeRow->addWidget(mode_, 1);
    advancedLayout->addLayout(modeRow);
    advancedLayout->addWidget(modeHint_);
    const bool expanded = session_.settingsModel().advancedExpanded();
    advanced_->setChecked(expanded);
    advanced_->setArrowType(expanded ? Qt::DownArrow : Qt::RightArrow);
    advancedBox_->setVisible(expanded);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(scan_);
    buttons->addWidget(cancel_);
    buttons->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title_);
    layout->addWidget(rule_);
    layout->addSpacing(12);
    layout->addWidget(summary_);
    layout->addWidget(reappearance_);
    layout->addWidget(reviewStatus_);
    layout->addSpacing(12);
    layout->addWidget(advanced_);
    layout->addWidget(advancedBox_);
    layout->addLayout(buttons);
    layout->addWidget(progress_);
    layout->addWidget(progressText_);
    layout->addWidget(message_);
    layout->addStretch(1);

    CleanerViewModel& cleaner = session_.cleaner();
    connect(scan_, &QPushButton::clicked, this, [this] {
        const auto mode = CleanupScanMode(mode_->currentData().toInt());
        session_.settingsModel().setScanMode(mode);
        session_.cleaner().startScan(mode);
    });
    connect(cancel_, &QPushButton::clicked, &cleaner, &CleanerViewModel::cancel);
    connect(mode_, &QComboBox::currentIndexChanged, this, [this] { retranslate(); });
    connect(advanced_, &QToolButton::toggled, this, [this](bool on) {
        advanced_->setArrowType(on ? Qt::DownArrow : Qt::RightArrow);
        advancedBox_->setVisible(on);
        session_.settingsModel().setAdvancedExpanded(on);
    });
    connect(&cleaner, &CleanerViewModel::phaseChanged, this, [this] {
        refresh();
        if (session_.cleaner().phase() == CleanerViewModel::Phase::review &&
            !session_.cleaner().report().candidates.empty()) {
            emit reviewRequested();
        }
    });
    connect(&cleaner, &CleanerViewModel::progressChanged, this, &DashboardPage::showProgress);
    connect(&cleaner, &CleanerViewModel::reportChanged, this, &DashboardPage::refresh);
    connect(&cleaner, &CleanerViewModel::messageChanged, this, &DashboardPage::refresh);
    connect(&session_.settingsModel(), &SettingsViewModel::reviewChanged, this,
            &DashboardPage::refresh);
    retranslate();
}

void DashboardPage::retranslate() {
    const UiCopy copy{session_.language()};
    title_->setText(QStringLiteral("Velmora"));
    rule_->setText(copy.text(
        "Scan → Review → Move to Trash. Velmora finds caches, logs and other files that can be "
        "made again, shows each with its size and safety level, and moves only what you "
        "confirm to the Trash. Nothing is changed until you confirm, and everything can be put "
        "back from the history.",
        "검사 → 검토 → 휴지통으로 이동. Velmora는 다시 만들 수 있는 캐시, 로그 등의 파일을 찾아 "
        "크기와 안전 수준을 보여 주고, 확인한 항목만 휴지통으로 옮깁니다. 확인하기 전에는 "
        "아무것도 바뀌지 않으며, 모든 항목은 기록에서 되돌릴 수 있습니다."));
    modeLabel_->setText(copy.text("Scan mode:", "검사 모드:"));
    advanced_->setText(copy.text("Advanced scan options", "고급 검사 옵션"));
    const int chosen =
        mode_->count() ? mode_->currentData().toInt() : int(session_.settingsModel().scanMode());
    {
        const QSignalBlocker block(mode_);
        mode_->clear();
        mode_->addItem(copy.text("Standard", "표준"), int(CleanupScanMode::standard));
        mode_->addItem(copy.text("Thorough", "꼼꼼히"), int(CleanupScanMode::aggressive));
        mode_->addItem(copy.text("Developer (direct)", "개발자(direct)"),
                       int(CleanupScanMode::direct));
        mode_->setCurrentIndex(std::max(0, mode_->findData(chosen)));
    }
    switch (CleanupScanMode(mode_->currentData().toInt())) {
        case CleanupScanMode::standard:
            modeHint_->setText(copy.text("Caches, logs and temporary files of your applications.",
                                         "응용 프로그램의 캐시, 로그, 임시 파일."));
            break;
        case CleanupScanMode::aggressive:
            modeHint_->setText(copy.text(
                "Also recent caches and larger application folders; review before you confirm.",
                "최근 캐시와 더 큰 응용 프로그램 폴더도 찾습니다. 확인하기 전에 검토하세요."));
            break;
        case CleanupScanMode::direct:
            modeHint_->setText(copy.text(
                "Also developer tool and package caches; they are downloaded or built again when "
                "needed, which can take time.",
                "개발 도구와 패키지 캐시도 찾습니다. 필요할 때 다시 내려받거나 빌드하므로 시간이 "
                "걸릴 수 있습니다."));
            break;
    }
    scan_->setText(copy.text("Scan", "검사"));
    cancel_->setText(copy.text("Cancel", "취소"));
    refresh();
}

void DashboardPage::refresh() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    CleanerViewModel& cleaner = session_.cleaner();
    const bool scanning = cleaner.phase() == CleanerViewModel::Phase::scanning;
    const bool busy = scanning || cleaner.phase() == CleanerViewModel::Phase::cleaning;
    scan_->setEnabled(!busy);
    mode_->setEnabled(!busy);
    cancel_->setVisible(scanning);
    progress_->setVisible(scanning);
    progressText_->setVisible(scanning);
    if (cleaner.phase() == CleanerViewModel::Phase::idle) {
        summary_->setText(
            copy.text("Nothing has been scanned yet. Choose a scan mode and start "
                      "a scan; nothing is changed by scanning.",
                      "아직 검사하지 않았습니다. 검사 모드를 고르고 검사를 "
                      "시작하세요. 검사는 아무것도 바꾸지 않습니다."));
    } else if (!scanning) {
        QString text = qs(lastScanSummaryText(int64_t(cleaner.report().candidates.size()),
                                              cleaner.reclaimableBytes(), language));
        if (cleaner.scanWasCancelled()) {
            text += " " + copy.text(
                              "The scan was cancelled; this is what it found before it "
                              "stopped.",
                              "검사가 취소되었습니다. 멈추기 전까지 찾은 결과입니다.");
        }
        summary_->setText(text);
    }
    const auto reappearance = scanning ? std::nullopt : cleaner.reappearanceText(language);
    reappearance_->setVisible(reappearance.has_value());
    if (reappearance) reappearance_->setText(qs(*reappearance));
    reviewStatus_->setText(qs(session_.settingsModel().reviewStatusSentence()));
    const auto message = cleaner.message(language);
    message_->setVisible(message.has_value());
    if (message) message_->setText(qs(*message));
}

void DashboardPage::showProgress() {
    const auto& p = session_.cleaner().progress();
    if (!p) return;
    progress_->setValue(int(p->fractionCompleted * 1000));
    const AppLanguage language = session_.language();
    QString text = qs(
        scanProgressCountsText(int64_t(p->completedItems), int64_t(p->foundCandidates), language));
    if (p->currentURL) {
        text += "\n" + qs(printable(displayPath(p->currentURL->path, session_.cleaner().home())));
    }
    progressText_->setText(text);
}

}  // namespace velmora::desktop
