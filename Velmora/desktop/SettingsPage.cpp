#include "Velmora/desktop/SettingsPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/Formatting.h"

#ifndef VELMORA_VERSION
#define VELMORA_VERSION "unknown"
#endif

namespace velmora::desktop {
namespace {

/// Where this copy of the program came from: the distribution package installs it below /usr.
bool installedFromPackage() {
    return QCoreApplication::applicationDirPath().startsWith(QStringLiteral("/usr/"));
}

}  // namespace

SettingsPage::SettingsPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      heading_(new QLabel),
      form_(new QFormLayout),
      language_(new QComboBox),
      languageBody_(new QLabel),
      appearance_(new QComboBox),
      textScale_(new QComboBox),
      cadence_(new QComboBox),
      profile_(new QComboBox),
      profileFootnote_(new QLabel),
      reviewStatus_(new QLabel),
      folders_(new QListWidget),
      addFolder_(new QPushButton),
      removeFolder_(new QPushButton),
      reminders_(new QCheckBox),
      version_(new QLabel),
      message_(new QLabel) {
    setObjectName("settingsPage");
    language_->setObjectName("languageBox");
    appearance_->setObjectName("appearanceBox");
    textScale_->setObjectName("textScaleBox");
    folders_->setObjectName("folderList");
    message_->setObjectName("settingsMessage");
    chooseFolder = [this](QWidget* parentWidget) {
        return QFileDialog::getExistingDirectory(parentWidget, addFolder_->text());
    };
    markHeading(heading_, 1);
    for (QLabel* l : {languageBody_, profileFootnote_, reviewStatus_, version_, message_})
        l->setWordWrap(true);
    folders_->setMaximumHeight(120);

    auto* folderButtons = new QHBoxLayout;
    folderButtons->addWidget(addFolder_);
    folderButtons->addWidget(removeFolder_);
    folderButtons->addStretch(1);
    auto* folderBox = new QVBoxLayout;
    folderBox->addWidget(folders_);
    folderBox->addLayout(folderButtons);
    form_->addRow(new QLabel, language_);
    form_->addRow(new QLabel, languageBody_);
    form_->addRow(new QLabel, appearance_);
    form_->addRow(new QLabel, textScale_);
    form_->addRow(new QLabel, cadence_);
    form_->addRow(new QLabel, profile_);
    form_->addRow(new QLabel, profileFootnote_);
    form_->addRow(new QLabel, reviewStatus_);
    auto* foldersLabel = new QLabel;
    foldersLabel->setObjectName("foldersLabel");
    form_->addRow(foldersLabel, folderBox);
    form_->addRow(new QLabel, reminders_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading_);
    layout->addLayout(form_);
    layout->addWidget(message_);
    layout->addStretch(1);
    layout->addWidget(version_);

    SettingsViewModel& settings = session_.settingsModel();
    connect(language_, &QComboBox::activated, this, [this] {
        session_.settingsModel().setLanguage(AppLanguage(language_->currentData().toInt()));
    });
    connect(appearance_, &QComboBox::activated, this, [this] {
        session_.settingsModel().setAppearanceMode(
            AppearanceMode(appearance_->currentData().toInt()));
    });
    connect(textScale_, &QComboBox::activated, this, [this] {
        session_.settingsModel().setTextScale(TextScale(textScale_->currentData().toInt()));
    });
    connect(cadence_, &QComboBox::activated, this, [this] {
        session_.settingsModel().setCadence(CleanupReviewCadence(cadence_->currentData().toInt()));
    });
    connect(profile_, &QComboBox::activated, this, [this] {
        session_.settingsModel().setProfile(
            CleanupReviewProfileID(profile_->currentData().toInt()));
    });
    connect(reminders_, &QCheckBox::toggled, this,
            [this](bool on) { session_.settingsModel().setRemindersEnabled(on); });
    connect(addFolder_, &QPushButton::clicked, this, [this] {
        const QString path = chooseFolder(this);
        if (!path.isEmpty()) session_.settingsModel().addFolder(path.toStdString());
    });
    connect(removeFolder_, &QPushButton::clicked, this, [this] {
        if (auto* item = folders_->currentItem())
            session_.settingsModel().removeFolder(
                item->data(Qt::UserRole).toString().toStdString());
    });
    connect(folders_, &QListWidget::currentRowChanged, this, &SettingsPage::refresh);
    for (auto signal : {&SettingsViewModel::reviewChanged, &SettingsViewModel::foldersChanged,
                        &SettingsViewModel::remindersChanged, &SettingsViewModel::messageChanged,
                        &SettingsViewModel::appearanceChanged}) {
        connect(&settings, signal, this, &SettingsPage::refresh);
    }
    retranslate();
}

void SettingsPage::fill(QComboBox* box, const std::vector<std::pair<QString, int>>& items,
                        int current) {
    const QSignalBlocker block(box);
    box->clear();
    for (const auto& [title, value] : items) box->addItem(title, value);
    box->setCurrentIndex(std::max(0, box->findData(current)));
}

void SettingsPage::retranslate() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    heading_->setText(copy.text("Settings", "설정"));
    auto label = [this](QWidget* field, const QString& text) {
        if (auto* l = qobject_cast<QLabel*>(form_->labelForField(field))) l->setText(text);
    };
    label(language_, qs(text(VelmoraI18nKey::languageTitle, language)));
    languageBody_->setText(qs(text(VelmoraI18nKey::settingsLanguageBody, language)));
    label(appearance_, copy.text("Appearance:", "화면 모드:"));
    label(textScale_, copy.text("Text size:", "글자 크기:"));
    label(cadence_, copy.text("Review reminder:", "검토 알림:"));
    label(profile_, copy.text("Review profile:", "검토 프로필:"));
    reminders_->setText(copy.text("Remind me when a review is due", "검토할 때가 되면 알려 주기"));
    if (auto* folders = findChild<QLabel*>("foldersLabel"))
        folders->setText(copy.text("Also scan:", "함께 검사할 폴더:"));
    folders_->setToolTip(
        copy.text("Folders you add are scanned with every scan and shown for "
                  "review like any other candidate.",
                  "추가한 폴더는 검사할 때마다 함께 검사하며, 다른 후보처럼 "
                  "검토 목록에 나옵니다."));
    addFolder_->setText(copy.text("Add folder…", "폴더 추가…"));
    removeFolder_->setText(copy.text("Remove", "제거"));
    {
        std::vector<std::pair<QString, int>> languages;
        for (AppLanguage l : kAppLanguages) languages.emplace_back(qs(languageName(l)), int(l));
        fill(language_, languages, int(language));
    }
    fill(appearance_,
         {{copy.text("Follow the system", "시스템 설정 따르기"), int(AppearanceMode::system)},
          {copy.text("Light", "밝게"), int(AppearanceMode::light)},
          {copy.text("Dark", "어둡게"), int(AppearanceMode::dark)}},
         int(session_.settingsModel().appearanceMode()));
    fill(textScale_,
         {{copy.text("Standard", "표준"), int(TextScale::standard)},
          {copy.text("Large", "크게"), int(TextScale::large)},
          {copy.text("Extra large", "아주 크게"), int(TextScale::extraLarge)}},
         int(session_.settingsModel().textScale()));
    fill(cadence_,
         {{copy.text("Off", "끔"), int(CleanupReviewCadence::off)},
          {copy.text("Every week", "매주"), int(CleanupReviewCadence::weekly)},
          {copy.text("Every month", "매월"), int(CleanupReviewCadence::monthly)}},
         int(session_.settingsModel().cadence()));
    {
        std::vector<std::pair<QString, int>> profiles;
        for (const auto& p : cleanupReviewProfiles())
            profiles.emplace_back(qs(reviewProfileTitle(p.id, language)), int(p.id));
        fill(profile_, profiles, int(session_.settingsModel().profile()));
    }
    const QString where = installedFromPackage()
                              ? copy.text(
                                    "installed from the distribution package; updates come "
                                    "with the system's updates.",
                                    "배포판 패키지로 설치했습니다. 업데이트는 시스템 "
                                    "업데이트와 함께 옵니다.")
                              : copy.text("built from source.", "소스에서 빌드했습니다.");
    version_->setText(QStringLiteral("Velmora " VELMORA_VERSION " — ") + where);
    refresh();
}

void SettingsPage::refresh() {
    const AppLanguage language = session_.language();
    SettingsViewModel& settings = session_.settingsModel();
    {
        const QSignalBlocker block(reminders_);
        reminders_->setChecked(settings.remindersEnabled());
    }
    cadence_->setCurrentIndex(std::max(0, cadence_->findData(int(settings.cadence()))));
    profile_->setCurrentIndex(std::max(0, profile_->findData(int(settings.profile()))));
    profileFootnote_->setText(
        qs(reviewProfileFootnote(cleanupReviewProfile(settings.profile()), language)));
    reviewStatus_->setText(qs(settings.reviewStatusSentence()));
    const QString current = folders_->currentItem()
                                ? folders_->currentItem()->data(Qt::UserRole).toString()
                                : QString();
    {
        const QSignalBlocker block(folders_);
        folders_->clear();
        for (const auto& f : settings.folders()) {
            auto* item = new QListWidgetItem(qs(printable(f.displayName)) + "  —  " +
                                             qs(printable(f.fallbackPath)));
            item->setData(Qt::UserRole, qs(f.id));
            folders_->addItem(item);
            if (qs(f.id) == current) folders_->setCurrentItem(item);
        }
    }
    removeFolder_->setEnabled(folders_->currentItem() != nullptr);
    const auto message = settings.message();
    message_->setVisible(message.has_value());
    if (message) message_->setText(qs(*message));
}

}  // namespace velmora::desktop
