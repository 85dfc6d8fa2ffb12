#pragma once
// The status icon: the reclaimable total of the last scan and the review status in its
// tooltip, and a menu to open the window, start a review or quit. Created only where a status
// notifier host (or an X11 tray) exists; reminders do not depend on it.
#include <QObject>

class QSystemTrayIcon;
class QMenu;

namespace velmora::desktop {

class DesktopSession;
class MainWindow;

class TrayStatus final : public QObject {
    Q_OBJECT

  public:
    /// Nothing is shown when the desktop has no tray; `isVisible` then says false.
    TrayStatus(DesktopSession& session, MainWindow& window, QObject* parent = nullptr);
    ~TrayStatus() override;
    bool isVisible() const;
    /// The tooltip's text in the current language.
    QString statusText() const;

  private:
    void refresh();

    DesktopSession& session_;
    MainWindow& window_;
    QSystemTrayIcon* icon_ = nullptr;
    QMenu* menu_ = nullptr;
};

}  // namespace velmora::desktop
