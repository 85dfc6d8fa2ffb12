// velmora-desktop: the desktop application. Opens the window; nothing is scanned until the
// person asks. Without a graphical session it says so and points to the command.
#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <utility>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/MainWindow.h"
#include "Velmora/desktop/OnboardingDialog.h"
#include "Velmora/desktop/ReminderService.h"
#include "Velmora/desktop/SingleInstance.h"
#include "Velmora/desktop/TrayStatus.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/reminders/DesktopNotifier.h"
#include "VelmoraUI/state/DashboardLaunchRequest.h"

using namespace velmora;
using namespace velmora::desktop;

namespace {

bool hasDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* value = std::getenv(name);
        if (value && *value) return true;
    }
    return false;
}

/// Runs `then` once, from the event loop, after the first paint of the widget it watches:
/// work the first picture does not need waits until the window is on the screen.
class AfterFirstPaint final : public QObject {
  public:
    explicit AfterFirstPaint(std::function<void()> then) : then_(std::move(then)) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && then_) {
            QTimer::singleShot(0, this, std::exchange(then_, {}));
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    std::function<void()> then_;
};

}  // namespace

int main(int argc, char** argv) {
    if (!hasDisplay()) {
        const AppLanguage language = resolvedLanguage(std::nullopt, systemPreferredLanguages());
        std::cerr << "velmora-desktop: "
                  << VelmoraCopy{language}.text(
                         "there is no graphical session (DISPLAY and WAYLAND_DISPLAY are not "
                         "set). `velmora scan` shows the same scan in the terminal.",
                         "그래픽 세션이 없습니다(DISPLAY와 WAYLAND_DISPLAY가 설정되지 "
                         "않았습니다). `velmora scan`으로 같은 검사를 터미널에서 볼 수 "
                         "있습니다.")
                  << "\n";
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    QApplication::setOrganizationName(QStringLiteral("Velmora"));
    QApplication::setDesktopFileName(QStringLiteral("org.velmora.Velmora"));
    QApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    QApplication::setQuitOnLastWindowClosed(true);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption home(QStringLiteral("home"),
                                  QStringLiteral("Home folder to work on (default: $HOME)"),
                                  QStringLiteral("DIR"));
    const QCommandLineOption section(
        QStringLiteral("section"),
        QStringLiteral(
            "Section to open: dashboard, review, insights, relief, history, growth, settings"),
        QStringLiteral("NAME"));
    // For the start-up benchmark: quit as soon as the window has painted once.
    QCommandLineOption exitAfterPaint(QStringLiteral("exit-after-first-paint"),
                                      QStringLiteral("Quit once the window has been painted"));
    exitAfterPaint.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(home);
    parser.addOption(section);
    parser.addOption(exitAfterPaint);
    parser.process(app);

    // A second launch hands its section to the running application and ends.
    SingleInstance instance(parser.isSet(section) ? parser.value(section) : QString());
    if (!instance.isPrimary()) return 0;

    SessionOptions options;
    if (parser.isSet(home)) options.homeOverride = parser.value(home).toStdString();
    DesktopSession session(options);

    app.setProperty("velmoraBaseFont", QApplication::font());
    applyAppearance(app, session.settingsModel().appearanceMode(),
                    session.settingsModel().textScale(), QApplication::font());

    if (!session.settingsModel().onboardingCompleted()) {
        OnboardingDialog onboarding(session);
        onboarding.setWindowIcon(velmoraIcon());
        if (onboarding.exec() != QDialog::Accepted) return 0;
    }
    MainWindow window(session);
    if (parser.isSet(section)) {
        if (auto chosen = MainWindow::sectionFromRaw(parser.value(section).toStdString()))
            window.showSection(*chosen);
    }
    // The tray asks the desktop for a status notifier host, which can take a while; it comes
    // after the window is on the screen.
    std::unique_ptr<TrayStatus> tray;
    std::unique_ptr<ReminderService> reminders;
    const bool exitAfterFirstPaint = parser.isSet(exitAfterPaint);
    AfterFirstPaint afterFirstPaint([&] {
        if (exitAfterFirstPaint) {
            QCoreApplication::quit();
            return;
        }
        tray = std::make_unique<TrayStatus>(session, window);
        reminders = std::make_unique<ReminderService>(
            session, std::make_unique<FreedesktopNotificationSender>(
                         std::nullopt, std::chrono::milliseconds(2000)));
        QObject::connect(reminders.get(), &ReminderService::openReviewRequested, &window,
                         &MainWindow::openReview);
        QTimer::singleShot(10'000, reminders.get(), &ReminderService::check);
        // A reminder clicked while the application was closed left this request.
        if (auto request = consumeDashboardLaunch(session.settings());
            request && request->destination == kDashboardReviewDestination) {
            window.openReview();
        }
    });
    window.installEventFilter(&afterFirstPaint);
    QObject::connect(&instance, &SingleInstance::activated, &window,
                     [&window](const QString& name) {
                         if (name == QStringLiteral("review")) {
                             window.openReview();
                             return;
                         }
                         window.showNormal();
                         window.raise();
                         window.activateWindow();
                         if (auto chosen = MainWindow::sectionFromRaw(name.toStdString()))
                             window.showSection(*chosen);
                     });
    window.show();
    return app.exec();
}
