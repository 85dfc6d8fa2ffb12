#pragma once
// The two dialogs of the review: the confirmation that says exactly what will move (count,
// size, split by safety level and by category, every path), and a candidate's details with
// its proof card.
#include <QDialog>
#include <vector>

#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::desktop {

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
