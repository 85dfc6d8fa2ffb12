#pragma once
// The two dialogs of the review: the confirmation that says exactly what will move (count,
// size, split by safety level and by category, every path), and a candidate's details with
// its proof card.
#include <QDialog>
#include <QVBoxLayout>
#include <string>
#include <vector>

#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::desktop {

/// One item a move to the Trash will take: its path and its size.
struct MovingItem {
    std::string path;
    int64_t sizeBytes = 0;
};

/// The end every move-to-Trash confirmation shares, added to `layout` of `dialog`: every path
/// with its size ("confirmationItems"), the promise that each is checked again, and the buttons
/// ("confirmMoveButton" accepts, Cancel rejects).
void addMoveConfirmationEnd(QDialog& dialog, QVBoxLayout& layout,
                            const std::vector<MovingItem>& items, const std::string& home,
                            AppLanguage language);

class ConfirmationDialog final : public QDialog {
    Q_OBJECT

  public:
    ConfirmationDialog(const std::vector<CleanupCandidate>& selection, const std::string& home,
                       AppLanguage language, QWidget* parent = nullptr);
};

class CandidateDetailsDialog final : public QDialog {
    Q_OBJECT

  public:
    CandidateDetailsDialog(const CleanupCandidate& candidate, const std::string& home,
                           Catalogue catalogue, AppLanguage language, QWidget* parent = nullptr);
};

}  // namespace velmora::desktop
