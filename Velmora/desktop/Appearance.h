#pragma once
// Applies the appearance settings to the whole application: the light or dark palette (or the
// style's own for "follow the system") and the text size.
#include <QFont>

#include "VelmoraUI/state/DashboardPreferences.h"

class QApplication;
class QLabel;

namespace velmora::desktop {

/// `baseFont` is the font the application started with; the scale applies to it, so that
/// switching back and forth never compounds.
void applyAppearance(QApplication& app, AppearanceMode mode, TextScale scale,
                     const QFont& baseFont);

/// Marks `label` as a heading of `level` 1 (a page's title) or 2 (a section's): drawn bold and
/// larger, following the text size.
void markHeading(QLabel* label, int level);

}  // namespace velmora::desktop
