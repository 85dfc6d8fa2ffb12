#pragma once
// `velmora language [CODE]`: shows the interface language and where it comes from, or keeps a
// new one in the preferences for every later run (`--language` chooses for one run only).
// Exit status: 0 done, 1 the preference could not be written, 2 an unknown language.
#include <optional>
#include <string>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct LanguageCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;  ///< the global --language, when given
    std::optional<std::string> code;         ///< the language to keep
    bool json = false;
};

/// "unknown language 'pt-BR'. The languages are: ko, en, ja, zh-Hans, zh-Hant, es, fr, de.",
/// said in `language` (the identifier is shown as it was typed, made printable).
std::string unknownLanguageMessage(const std::string& identifier, AppLanguage language);

int runLanguageCommand(const LanguageCommandOptions& options);

}  // namespace velmora::cli
