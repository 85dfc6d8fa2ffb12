// The reference for the desktop application's start-up: an empty Qt Widgets window that quits
// after its first paint. bench/desktop.sh times both programs on the same display.
#include <QApplication>
#include <QTimer>
#include <QWidget>

namespace {

class FirstPaintExit final : public QObject {
  public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !quitting_) {
            quitting_ = true;
            QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    bool quitting_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QWidget window;
    window.resize(1040, 700);
    FirstPaintExit firstPaint;
    window.installEventFilter(&firstPaint);
    window.show();
    return app.exec();
}
