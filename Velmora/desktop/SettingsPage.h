#pragma once
// Settings: language (applies at once), appearance, text size, review cadence and profile,
// kept scan folders, reminders, and the version with where it came from.
#include <QWidget>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QListWidget;
class QPushButton;

namespace velmora::desktop {

class DesktopSession;

class SettingsPage final : public QWidget {
    Q_OBJECT

  public:
    explicit SettingsPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();
    QComboBox* languageBox() const { return language_; }

    /// Asks for a folder to add; tests answer it themselves.
    std::function<QString(QWidget*)> chooseFolder;

  private:
    void refresh();
    void fill(QComboBox* box, const std::vector<std::pair<QString, int>>& items, int current);

    DesktopSession& session_;
    QLabel* heading_;
    QFormLayout* form_;
    QComboBox* language_;
    QLabel* languageBody_;
    QComboBox* appearance_;
    QComboBox* textScale_;
    QComboBox* cadence_;
    QComboBox* profile_;
    QLabel* profileFootnote_;
    QLabel* reviewStatus_;
    QListWidget* folders_;
    QPushButton* addFolder_;
    QPushButton* removeFolder_;
    QCheckBox* reminders_;
    QLabel* version_;
    QLabel* message_;
};

}  // namespace velmora::desktop
