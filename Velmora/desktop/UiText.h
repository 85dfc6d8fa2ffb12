#pragma once
// Texts of the window in the person's language. Every visible sentence is written here with its
// English and Korean forms and looked up for the other languages in the catalogue, so a
// language change only needs each view to set its texts again.
#include <QLocale>
#include <QString>
#include <string>
#include <string_view>

#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora::desktop {

inline QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

/// The locale that dates and numbers of `language` are written in.
inline QLocale uiLocale(AppLanguage language) {
    return QLocale(qs(languageCode(language)));
}

/// `VelmoraCopy` that answers with QStrings.
struct UiCopy {
    AppLanguage language = AppLanguage::english;
    QString text(std::string_view english, std::string_view korean) const {
        return qs(VelmoraCopy{language}.text(english, korean));
    }
};

}  // namespace velmora::desktop
