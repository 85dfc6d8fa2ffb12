#pragma once
// The texts CleanerCore makes, in the person's language. The core speaks English only: its
// reason texts are stored in scan reports and in the cleanup history and never change, so they
// are translated here, as they are shown. The Korean forms are written here; the six other
// languages come from the translation tables. Pure and thread-safe.
#include <string>
#include <string_view>

#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

std::string safetyTitle(CleanupSafety safety, AppLanguage language);
std::string categoryTitle(CleanupCategory category, AppLanguage language);

/// A reason text the core made (skip reasons, refusals, `CleaningError` descriptions, failures
/// recorded in the history), in `language`. A reason that is a known prefix followed by a path
/// or a name keeps that tail unchanged and translates the prefix; a known whole reason is
/// translated as a whole; any other text goes through `localized` (and stays English in
/// Korean). Never fails.
std::string presentedReason(std::string_view english, AppLanguage language);

}  // namespace velmora
