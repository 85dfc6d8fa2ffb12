#include "Velmora/desktop/StoragePalette.h"

#include <QToolTip>

#include <algorithm>
#include <cmath>
#include <string>

#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"

namespace velmora::desktop {

bool isDarkPalette(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128;
}

QColor storageFill(const QPalette& palette, int topIndex, int depth, bool muted) {
    // Golden-angle steps keep neighbouring items' hues apart however many there are.
    const int hue = static_cast<int>(std::fmod(210.0 + topIndex * 137.508, 360.0));
    const int step = std::clamp(depth - 1, 0, 6);
    const int saturation = muted ? 35 : 150;
    if (isDarkPalette(palette)) return QColor::fromHsl(hue, saturation - 30, 70 + step * 12);
    return QColor::fromHsl(hue, saturation, 205 - step * 12);
}

QString storageNodeLabel(const StorageTree& tree, StorageTree::Index node, AppLanguage language) {
    const auto& n = tree.node(node);
    if (!n.isAggregate()) return qs(n.name);
    const UiCopy copy{language};
    const int64_t count = n.fileCount;
    if (n.holdsFoldedFolders) {
        if (count == 1) return copy.text("1 more file", "그 밖의 파일 1개");
        // i18n-example: "12 more files"
        return copy.text(std::to_string(count) + " more files",
                         "그 밖의 파일 " + std::to_string(count) + "개");
    }
    if (count == 1) return copy.text("1 smaller file", "작은 파일 1개");
    // i18n-example: "12 smaller files"
    return copy.text(std::to_string(count) + " smaller files",
                     "작은 파일 " + std::to_string(count) + "개");
}

QString mergedLabel(int64_t count, AppLanguage language) {
    const UiCopy copy{language};
    if (count == 1) return copy.text("1 more item", "그 밖의 항목 1개");
    // i18n-example: "12 more items"
    return copy.text(std::to_string(count) + " more items",
                     "그 밖의 항목 " + std::to_string(count) + "개");
}

QString storageToolTip(const StorageTree& tree, StorageTree::Index node, bool isMerged,
                       int64_t mergedCount, int64_t sizeBytes, AppLanguage language) {
    QString text = qs(tree.displayPath(node));
    if (isMerged)
        text += "\n" + mergedLabel(mergedCount, language);
    else if (tree.node(node).isAggregate())
        text += "\n" + storageNodeLabel(tree, node, language);
    return text + "\n" + qs(bytesText(sizeBytes, language));
}

int topLevelPlace(const StorageTree& tree, StorageTree::Index node) {
    const auto top = tree.topLevelOf(node);
    if (top == StorageTree::kNoNode) return 0;
    return static_cast<int>(top - tree.node(tree.root()).firstChild);
}

void showStorageTip(QWidget& widget, const QString& tip, const QMouseEvent& event) {
    widget.setToolTip(tip);
    if (tip.isEmpty())
        QToolTip::hideText();
    else
        QToolTip::showText(event.globalPosition().toPoint(), tip, &widget);
}

bool isStepBackPress(const QMouseEvent& event) {
    return event.button() == Qt::BackButton || event.button() == Qt::RightButton;
}

}  // namespace velmora::desktop
