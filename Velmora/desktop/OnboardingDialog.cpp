#include "Velmora/desktop/OnboardingDialog.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/UiText.h"

namespace velmora::desktop {

OnboardingDialog::OnboardingDialog(DesktopSession& session, QWidget* parent)
    : QDialog(parent),
      session_(session),
      languageTitle_(new QLabel),
      languageBody_(new QLabel),
      language_(new QComboBox),
      safetyTitle_(new QLabel),
      safetyBody_(new QLabel),
      start_(new QPushButton) {
    setObjectName("onboardingDialog");
    language_->setObjectName("onboardingLanguage");
    start_->setObjectName("onboardingDone");
    markHeading(languageTitle_, 2);
    markHeading(safetyTitle_, 2);
    for (QLabel* body : {languageBody_, safetyBody_}) body->setWordWrap(true);
    for (AppLanguage l : kAppLanguages) language_->addItem(qs(languageName(l)), int(l));
    language_->setCurrentIndex(language_->findData(int(session_.language())));
    start_->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(languageTitle_);
    layout->addWidget(languageBody_);
    layout->addWidget(language_);
    layout->addSpacing(16);
    layout->addWidget(safetyTitle_);
    layout->addWidget(safetyBody_);
    layout->addStretch(1);
    layout->addWidget(start_, 0, Qt::AlignRight);

    connect(language_, &QComboBox::activated, this, [this] {
        session_.settingsModel().setLanguage(AppLanguage(language_->currentData().toInt()));
        retranslate();
    });
    connect(start_, &QPushButton::clicked, this, [this] {
        session_.settingsModel().completeOnboarding();
        accept();
    });
    retranslate();
    resize(520, 380);
}

void OnboardingDialog::retranslate() {
    const AppLanguage language = session_.language();
    setWindowTitle(QStringLiteral("Velmora"));
    languageTitle_->setText(qs(text(VelmoraI18nKey::macOnboardingLanguageTitle, language)));
    languageBody_->setText(qs(text(VelmoraI18nKey::macOnboardingLanguageBody, language)));
    safetyTitle_->setText(qs(text(VelmoraI18nKey::macOnboardingSafetyTitle, language)));
    safetyBody_->setText(qs(text(VelmoraI18nKey::macOnboardingSafetyBody, language)));
    start_->setText(UiCopy{language}.text("Start", "시작"));
}

}  // namespace velmora::desktop
