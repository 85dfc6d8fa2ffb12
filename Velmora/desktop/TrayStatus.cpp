#include "Velmora/desktop/TrayStatus.h"

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/MainWindow.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"

namespace velmora::desktop {

TrayStatus::TrayStatus(DesktopSession& session, MainWindow& window, QObject* parent)
    : QObject(parent), session_(session), window_(window) {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) return;
    icon_ = new QSystemTrayIcon(velmoraIcon(), this);
    menu_ = new QMenu;
    icon_->setContextMenu(menu_);
    connect(icon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason r) {
        if (r == QSystemTrayIcon::Trigger) {
            window_.showNormal();
            window_.raise();
            window_.activateWindow();
        }
    });
    connect(&session_.cleaner(), &CleanerViewModel::reportChanged, this, &TrayStatus::refresh);
    connect(&session_.settingsModel(), &SettingsViewModel::reviewChanged, this,
            &TrayStatus::refresh);
    connect(&session_.settingsModel(), &SettingsViewModel::languageChanged, this,
            &TrayStatus::refresh);
    refresh();
    icon_->show();
}

TrayStatus::~TrayStatus() {
    delete menu_;
}

bool TrayStatus::isVisible() const {
    return icon_ && icon_->isVisible();
}

QString TrayStatus::statusText() const {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    QString text = QStringLiteral("Velmora");
    const CleanerViewModel& cleaner = session_.cleaner();
    if (cleaner.phase() != CleanerViewModel::Phase::idle) {
        const int64_t bytes = cleaner.reclaimableBytes();
        const std::string size = bytesText(bytes, language);
        // i18n-example: "1.4 GB can be reclaimed."
        text += "\n" + copy.text(size + " can be reclaimed.", size + "를 확보할 수 있습니다.");
    }
    text += "\n" + qs(session_.settingsModel().reviewStatusSentence());
    return text;
}

void TrayStatus::refresh() {
    if (!icon_) return;
    const UiCopy copy{session_.language()};
    icon_->setToolTip(statusText());
    menu_->clear();
    menu_->addAction(copy.text("Open Velmora", "Velmora 열기"), this, [this] {
        window_.showNormal();
        window_.raise();
        window_.activateWindow();
    });
    menu_->addAction(copy.text("Start a review", "검토 시작"), this,
                     [this] { window_.openReview(); });
    menu_->addSeparator();
    menu_->addAction(copy.text("Quit", "종료"), qApp, &QCoreApplication::quit);
}

}  // namespace velmora::desktop
