#include "Velmora/desktop/SystemPanel.h"

#include <fmt/format.h>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <algorithm>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/InsightTexts.h"
#include "VelmoraUI/dashboard/InsightsViewModel.h"

namespace velmora::desktop {
namespace {

// The snapshot's explanation of its thermal state, in the person's language; the core writes
// one of a few fixed English texts.
QString temperatureDetailText(const std::string& detail, AppLanguage language) {
    const UiCopy copy{language};
    if (detail == kThermalZonesTemperatureDetail) {
        return copy.text(
            "Velmora compares each of the kernel's thermal zones with its own trip points (fans, "
            "throttling, shutdown) and reports the most severe zone; it does not judge raw "
            "temperatures.",
            "Velmora는 커널의 각 열 영역을 그 영역의 임계점(팬, 성능 제한, 종료)과 비교해 가장 "
            "심각한 영역을 알려 줍니다. 온도 값 자체로 판단하지는 않습니다.");
    }
    if (detail == kNoThermalZonesTemperatureDetail) {
        return copy.text(
            "This system exposes no kernel thermal zone with a temperature and trip points, so "
            "Velmora reports the thermal state as Unknown.",
            "이 시스템에는 온도와 임계점을 가진 커널 열 영역이 없어 Velmora는 열 상태를 알 수 "
            "없음으로 표시합니다.");
    }
    return qs(presentedReason(detail, language));
}

}  // namespace

SparklineWidget::SparklineWidget(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(28);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SparklineWidget::setValues(std::vector<double> values) {
    values_ = std::move(values);
    update();
}

QSize SparklineWidget::sizeHint() const {
    // Taller with larger text, so the line keeps its proportion to the labels beside it.
    return {160, std::max(28, fontMetrics().height() * 2)};
}

void SparklineWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF area = QRectF(rect()).adjusted(2, 3, -2, -3);
    p.fillRect(rect(), palette().color(QPalette::Base));
    p.setPen(QPen(palette().color(QPalette::Mid), 1));
    p.drawLine(area.bottomLeft(), area.bottomRight());
    if (values_.empty()) return;
    const auto point = [&](size_t i) {
        const double x = values_.size() == 1
                             ? area.right()
                             : area.left() + area.width() * double(i) / double(values_.size() - 1);
        return QPointF(x, area.bottom() - area.height() * std::clamp(values_[i], 0.0, 1.0));
    };
    QPainterPath line(point(0));
    for (size_t i = 1; i < values_.size(); ++i) line.lineTo(point(i));
    p.setPen(QPen(palette().color(QPalette::Highlight), 2));
    p.drawPath(line);
    p.setBrush(palette().color(QPalette::Highlight));
    p.drawEllipse(point(values_.size() - 1), 2.5, 2.5);
}

SystemPanel::SystemPanel(InsightsViewModel& insights, AppLanguage language, QWidget* parent)
    : QWidget(parent),
      insights_(insights),
      language_(language),
      heading_(new QLabel),
      memory_(new QLabel),
      processor_(new QLabel),
      thermal_(new QLabel),
      temperatureDetail_(new QLabel),
      uptime_(new QLabel),
      cpuTitle_(new QLabel),
      memoryTitle_(new QLabel),
      thermalTitle_(new QLabel),
      cpuLine_(new SparklineWidget),
      memoryLine_(new SparklineWidget),
      thermalLine_(new SparklineWidget) {
    setObjectName("systemPanel");
    memory_->setObjectName("systemMemory");
    processor_->setObjectName("systemProcessor");
    thermal_->setObjectName("systemThermal");
    uptime_->setObjectName("systemUptime");
    cpuLine_->setObjectName("cpuSparkline");
    memoryLine_->setObjectName("memorySparkline");
    thermalLine_->setObjectName("thermalSparkline");
    markHeading(heading_, 2);
    for (QLabel* l : {memory_, processor_, thermal_, temperatureDetail_, uptime_}) {
        l->setWordWrap(true);
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    auto* lines = new QGridLayout;
    lines->addWidget(cpuTitle_, 0, 0);
    lines->addWidget(cpuLine_, 0, 1);
    lines->addWidget(memoryTitle_, 1, 0);
    lines->addWidget(memoryLine_, 1, 1);
    lines->addWidget(thermalTitle_, 2, 0);
    lines->addWidget(thermalLine_, 2, 1);
    lines->setColumnStretch(1, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading_);
    layout->addWidget(memory_);
    layout->addWidget(processor_);
    layout->addWidget(thermal_);
    layout->addWidget(temperatureDetail_);
    layout->addWidget(uptime_);
    layout->addLayout(lines);
    layout->addStretch(1);
    connect(&insights_, &InsightsViewModel::systemChanged, this, &SystemPanel::refresh);
    refresh();
}

void SystemPanel::setLanguage(AppLanguage language) {
    language_ = language;
    refresh();
}

void SystemPanel::refresh() {
    const UiCopy copy{language_};
    const SystemResourceSnapshot& s = insights_.systemSnapshot();
    heading_->setText(qs(insightSectionTitle(InsightSection::system, language_)));
    memory_->setText(qs(memoryLine(s, language_)));
    const std::string counts = countText(s.processorCount, "processor", "processors") +
                               fmt::format(", {} active", s.activeProcessorCount);
    // i18n-example: "8 processors, 8 active"
    // i18n-example: "1 processor, 1 active"
    processor_->setText(qs(processorLine(s, language_)) + QStringLiteral(" · ") +
                        copy.text(counts, fmt::format("프로세서 {}개, 활성 {}개", s.processorCount,
                                                      s.activeProcessorCount)));
    thermal_->setText(qs(temperatureLine(s.thermalState, language_)));
    temperatureDetail_->setText(temperatureDetailText(s.temperatureDetail, language_));
    temperatureDetail_->setVisible(!s.temperatureDetail.empty());
    uptime_->setText(qs(uptimeLine(s.uptime, language_)));
    cpuTitle_->setText(copy.text("Processor load", "프로세서 부하"));
    memoryTitle_->setText(copy.text("Memory use", "메모리 사용"));
    thermalTitle_->setText(copy.text("Thermal pressure", "열 압력"));
    const SystemMetricHistory& history = insights_.metricHistory();
    cpuLine_->setValues(history.cpuLoad());
    memoryLine_->setValues(history.memoryUsage());
    thermalLine_->setValues(history.thermalPressure());
}

}  // namespace velmora::desktop
