#pragma once
// Colours and labels shared by the storage pictures (treemap, flame graph).
#include <QColor>
#include <QMouseEvent>
#include <QPalette>
#include <QString>
#include <QWidget>

#include "CleanerCore/insights/StorageTree.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::desktop {

/// The fill of a node `depth` levels below the home that lies in top-level item `topIndex`
/// (its place among the home's children): one hue per top-level item, lighter (light palette)
/// or darker (dark palette) with depth; `muted` for aggregates and merged tiles.
QColor storageFill(const QPalette& palette, int topIndex, int depth, bool muted);

/// Whether `palette` is a dark one (light text on dark windows).
bool isDarkPalette(const QPalette& palette);

/// The name shown for `node`: its own, or for an aggregate "12 smaller files" (or "12 more
/// files" when it holds folded folders).
QString storageNodeLabel(const StorageTree& tree, StorageTree::Index node, AppLanguage language);
/// The name of a merged tile or item standing for `count` children: "12 more items".
QString mergedLabel(int64_t count, AppLanguage language);
/// The tooltip: the display path, what the tile stands for when it is not a single node, and
/// the size in human units.
QString storageToolTip(const StorageTree& tree, StorageTree::Index node, bool isMerged,
                       int64_t mergedCount, int64_t sizeBytes, AppLanguage language);
/// The place of `node`'s top-level item among the home's children; 0 for the home.
int topLevelPlace(const StorageTree& tree, StorageTree::Index node);

/// After the pointer reached another place of a picture: `tip` becomes `widget`'s tooltip and
/// shows at once where the pointer is (an empty one hides it).
void showStorageTip(QWidget& widget, const QString& tip, const QMouseEvent& event);
/// Whether a press asks a picture to step back out of the folder it shows: the mouse's back
/// button or the right button.
bool isStepBackPress(const QMouseEvent& event);

}  // namespace velmora::desktop
