#pragma once
// One application per desktop session: the first instance owns the bus name
// "org.velmora.Velmora"; a later launch (a reminder's "Open review", the menu entry clicked
// again) hands its request to the first one and ends, so that two windows never work on the
// same history and preferences at once. Without a session bus every launch runs on its own.
//
// Threading: UI thread.
#include <QDBusConnection>
#include <QObject>
#include <optional>

namespace velmora::desktop {

class SingleInstance final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.velmora.Velmora")

  public:
    /// Claims the name. When another instance holds it, `section` ("" for none) is passed to
    /// it and `isPrimary` is false: this launch should end.
    explicit SingleInstance(const QString& section, QObject* parent = nullptr);
    ~SingleInstance() override;
    bool isPrimary() const { return primary_; }

  public slots:
    /// Called over the bus by a later launch.
    Q_SCRIPTABLE void Activate(const QString& section);

  signals:
    void activated(const QString& section);

  private:
    std::optional<QDBusConnection> bus_;
    bool primary_ = true;
};

}  // namespace velmora::desktop
