#pragma once
// Translation of the texts the program shows. English and Korean are written where a text is
// made; the six other languages are looked up from the English text, first in the language's
// table of fixed texts, then in its table of sentence templates. No lookup fails: an
// untranslated text is shown in English. Pure and thread-safe; the tables are immutable.
#include <string>
#include <string_view>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// `english` in `language`. For Korean and English the caller's text is already right and is
/// returned unchanged; callers that show Korean pass its Korean form through `VelmoraCopy`.
std::string localized(std::string_view english, AppLanguage language);

/// A text in one language, written with its English and Korean forms at the point of use.
struct VelmoraCopy {
    AppLanguage language = AppLanguage::english;

    std::string text(std::string_view english, std::string_view korean) const {
        if (language == AppLanguage::korean) return std::string(korean);
        return localized(english, language);
    }
};

}  // namespace velmora
