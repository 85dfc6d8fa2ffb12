#pragma once
// The system panel of the insights: memory, processor load, thermal state and uptime from the
// newest system snapshot, and sparklines of the recent history (the last 24 samples).
#include <QWidget>
#include <vector>

#include "VelmoraUI/localization/AppLanguage.h"

class QLabel;

namespace velmora {
class InsightsViewModel;
}

namespace velmora::desktop {

/// A small line of values in [0, 1], oldest left, drawn in the palette's highlight colour over
/// its base so that it follows the light or dark appearance. Empty: a flat baseline.
class SparklineWidget final : public QWidget {
    Q_OBJECT

  public:
    explicit SparklineWidget(QWidget* parent = nullptr);
    void setValues(std::vector<double> values);
    const std::vector<double>& values() const { return values_; }
    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    std::vector<double> values_;
};

class SystemPanel final : public QWidget {
    Q_OBJECT

  public:
    SystemPanel(InsightsViewModel& insights, AppLanguage language, QWidget* parent = nullptr);
    void setLanguage(AppLanguage language);
    SparklineWidget* cpuSparkline() const { return cpuLine_; }
    SparklineWidget* memorySparkline() const { return memoryLine_; }
    SparklineWidget* thermalSparkline() const { return thermalLine_; }

  private:
    void refresh();

    InsightsViewModel& insights_;
    AppLanguage language_;
    QLabel* heading_;
    QLabel* memory_;
    QLabel* processor_;
    QLabel* thermal_;
    QLabel* temperatureDetail_;
    QLabel* uptime_;
    QLabel* cpuTitle_;
    QLabel* memoryTitle_;
    QLabel* thermalTitle_;
    SparklineWidget* cpuLine_;
    SparklineWidget* memoryLine_;
    SparklineWidget* thermalLine_;
};

}  // namespace velmora::desktop
