#include "Velmora/desktop/MainWindow.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPainterPath>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DashboardPage.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/GrowthPage.h"
#include "Velmora/desktop/HistoryPage.h"
#include "Velmora/desktop/InsightsPage.h"
#include "Velmora/desktop/ReliefPage.h"
#include "Velmora/desktop/ReviewPage.h"
#include "Velmora/desktop/SettingsPage.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/GrowthTexts.h"

namespace velmora::desktop {

namespace {
constexpr int kSectionCount = int(MainWindow::Section::settings) + 1;
}

QIcon velmoraIcon() {
    QIcon icon = QIcon::fromTheme(QStringLiteral("org.velmora.Velmora"));
    if (!icon.isNull()) return icon;
    QPixmap pixmap(128, 128);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(QColor(0x1a, 0x66, 0xd2));
    p.setPen(Qt::NoPen);
    p.drawRoundedRect(QRectF(4, 4, 120, 120), 26, 26);
    QPainterPath check;
    check.moveTo(34, 66);
    check.lineTo(56, 88);
    check.lineTo(96, 42);
    p.setPen(QPen(Qt::white, 14, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawPath(check);
    return QIcon(pixmap);
}

MainWindow::MainWindow(DesktopSession& session, QWidget* parent)
    : QMainWindow(parent),
      session_(session),
      banner_(new QLabel),
      sections_(new QListWidget),
      pages_(new QStackedWidget),
      dashboard_(new DashboardPage(session)) {
    setObjectName("mainWindow");
    sections_->setObjectName("sectionList");
    banner_->setObjectName("startupBanner");
    setWindowIcon(velmoraIcon());
    banner_->setWordWrap(true);
    banner_->setMargin(8);
    banner_->setAutoFillBackground(true);
    for (int i = 0; i < kSectionCount; ++i) sections_->addItem(QString());
    sections_->setFixedWidth(190);
    sections_->setFrameShape(QFrame::NoFrame);
    sections_->setSpacing(2);
    sections_->setStyleSheet(QStringLiteral(
        "QListWidget { padding-top: 12px; }"
        "QListWidget::item { padding: 8px 14px; border-radius: 6px; margin: 1px 8px; }"
        "QListWidget::item:selected { background: palette(highlight);"
        " color: palette(highlighted-text); }"));
    pages_->addWidget(dashboard_);
    pages_->addWidget(new QWidget);  // review
    pages_->addWidget(new QWidget);  // insights
    pages_->addWidget(new QWidget);  // relief
    pages_->addWidget(new QWidget);  // history
    pages_->addWidget(new QWidget);  // growth
    pages_->addWidget(new QWidget);  // settings

    auto* central = new QWidget;
    auto* outer = new QVBoxLayout(central);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(banner_);
    auto* row = new QHBoxLayout;
    row->addWidget(sections_);
    row->addWidget(pages_, 1);
    outer->addLayout(row, 1);
    setCentralWidget(central);

    connect(sections_, &QListWidget::currentRowChanged, this, [this](int index) {
        switch (Section(index)) {
            case Section::review:
                review();
                break;
            case Section::insights:
                insights();
                break;
            case Section::relief:
                relief();
                break;
            case Section::history:
                history();
                break;
            case Section::growth:
                growth();
                break;
            case Section::settings:
                settings();
                break;
            default:
                break;
        }
        pages_->setCurrentIndex(index);
        if (Section(index) == Section::history) session_.history().reload();
    });
    connect(dashboard_, &DashboardPage::reviewRequested, this,
            [this] { showSection(Section::review); });
    SettingsViewModel& settings = session_.settingsModel();
    connect(&settings, &SettingsViewModel::languageChanged, this, &MainWindow::retranslate);
    connect(&settings, &SettingsViewModel::appearanceChanged, this, [this] {
        if (auto* app = qobject_cast<QApplication*>(QCoreApplication::instance())) {
            applyAppearance(*app, session_.settingsModel().appearanceMode(),
                            session_.settingsModel().textScale(),
                            app->property("velmoraBaseFont").value<QFont>());
        }
    });
    sections_->setCurrentRow(0);
    retranslateWindow();  // the pages set their own texts as they are built
    resize(1040, 700);
}

void MainWindow::retranslateWindow() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    setWindowTitle(QStringLiteral("Velmora"));
    const QString titles[] = {
        copy.text("Dashboard", "대시보드"), copy.text("Review", "검토"),
        copy.text("Insights", "인사이트"),  copy.text("Resource relief", "리소스 여유"),
        copy.text("History", "기록"),       qs(growthHeading(language)),
        copy.text("Settings", "설정"),
    };
    for (int i = 0; i < kSectionCount; ++i) sections_->item(i)->setText(titles[i]);
    const auto message = session_.startupMessage();
    banner_->setVisible(message.has_value());
    if (message) banner_->setText(qs(*message));
}

void MainWindow::retranslate() {
    retranslateWindow();
    dashboard_->retranslate();
    if (review_) review_->retranslate();
    if (insights_) insights_->retranslate();
    if (relief_) relief_->retranslate();
    if (history_) history_->retranslate();
    if (growth_) growth_->retranslate();
    if (settings_) settings_->retranslate();
}

template <typename Page>
Page* MainWindow::ensure(Page*& page, Section section) {
    if (page) return page;
    page = new Page(session_);
    QWidget* standIn = pages_->widget(int(section));
    const bool current = pages_->currentIndex() == int(section);
    pages_->insertWidget(int(section), page);
    pages_->removeWidget(standIn);
    standIn->deleteLater();
    if (current) pages_->setCurrentIndex(int(section));
    return page;
}

ReviewPage* MainWindow::review() {
    return ensure(review_, Section::review);
}
InsightsPage* MainWindow::insights() {
    return ensure(insights_, Section::insights);
}
ReliefPage* MainWindow::relief() {
    return ensure(relief_, Section::relief);
}
HistoryPage* MainWindow::history() {
    return ensure(history_, Section::history);
}
GrowthPage* MainWindow::growth() {
    if (growth_) return growth_;
    ensure(growth_, Section::growth);
    // The empty page's scan is the dashboard's, shown where its progress is.
    connect(growth_, &GrowthPage::scanRequested, this, [this] {
        showSection(Section::dashboard);
        CleanerViewModel& cleaner = session_.cleaner();
        if (cleaner.phase() != CleanerViewModel::Phase::scanning &&
            cleaner.phase() != CleanerViewModel::Phase::cleaning)
            cleaner.startScan(session_.settingsModel().scanMode(),
                              session_.settingsModel().profile());
    });
    return growth_;
}
SettingsPage* MainWindow::settings() {
    return ensure(settings_, Section::settings);
}

void MainWindow::openReview() {
    showNormal();
    raise();
    activateWindow();
    showSection(Section::dashboard);
    CleanerViewModel& cleaner = session_.cleaner();
    if (cleaner.phase() == CleanerViewModel::Phase::scanning ||
        cleaner.phase() == CleanerViewModel::Phase::cleaning) {
        return;
    }
    cleaner.startScan(session_.settingsModel().scanMode(), session_.settingsModel().profile());
}

void MainWindow::showSection(Section section) {
    sections_->setCurrentRow(int(section));
}

MainWindow::Section MainWindow::currentSection() const {
    return Section(sections_->currentRow());
}

std::optional<MainWindow::Section> MainWindow::sectionFromRaw(std::string_view raw) {
    const std::pair<std::string_view, Section> names[] = {
        {"dashboard", Section::dashboard}, {"review", Section::review},
        {"insights", Section::insights},   {"relief", Section::relief},
        {"history", Section::history},     {"growth", Section::growth},
        {"settings", Section::settings},
    };
    for (const auto& [name, section] : names)
        if (name == raw) return section;
    return std::nullopt;
}

}  // namespace velmora::desktop
