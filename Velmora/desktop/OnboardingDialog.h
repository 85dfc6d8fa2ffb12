#pragma once
// The first launch: choose the language, then read the safety rule. Completing it is kept in
// the preferences so it is shown once; nothing is scanned by it.
#include <QDialog>

class QComboBox;
class QLabel;
class QPushButton;

namespace velmora::desktop {

class DesktopSession;

class OnboardingDialog final : public QDialog {
    Q_OBJECT

  public:
    explicit OnboardingDialog(DesktopSession& session, QWidget* parent = nullptr);

  private:
    void retranslate();

    DesktopSession& session_;
    QLabel* languageTitle_;
    QLabel* languageBody_;
    QComboBox* language_;
    QLabel* safetyTitle_;
    QLabel* safetyBody_;
    QPushButton* start_;
};

}  // namespace velmora::desktop
