#include "Velmora/desktop/SingleInstance.h"

#include <QDBusMessage>

#include "VelmoraUI/reminders/DesktopNotifier.h"

namespace velmora::desktop {
namespace {

const QString kName = QStringLiteral("org.velmora.Velmora");
const QString kPath = QStringLiteral("/org/velmora/Velmora");
const QString kConnection = QStringLiteral("velmora-single-instance");

}  // namespace

SingleInstance::SingleInstance(const QString& section, QObject* parent) : QObject(parent) {
    // Only an existing session bus; never start one.
    const auto address = sessionBusAddress();
    if (!address) return;
    QDBusConnection bus =
        QDBusConnection::connectToBus(QString::fromStdString(*address), kConnection);
    if (!bus.isConnected()) return;
    bus_ = bus;
    if (bus.registerService(kName)) {
        bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots);
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(kName, kPath, kName, QStringLiteral("Activate"));
    call << section;
    const QDBusMessage answer = bus.call(call, QDBus::Block, 2000);
    // A holder that does not answer is not a working instance: run on our own.
    primary_ = answer.type() == QDBusMessage::ErrorMessage;
}

SingleInstance::~SingleInstance() {
    if (bus_) QDBusConnection::disconnectFromBus(kConnection);
}

void SingleInstance::Activate(const QString& section) {
    emit activated(section);
}

}  // namespace velmora::desktop
