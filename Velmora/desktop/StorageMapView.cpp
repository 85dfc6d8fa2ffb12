#include "Velmora/desktop/StorageMapView.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "Velmora/desktop/FlameGraphWidget.h"
#include "Velmora/desktop/TreemapWidget.h"
#include "Velmora/desktop/UiText.h"

namespace velmora::desktop {

StorageMapView::StorageMapView(AppLanguage language, QWidget* parent)
    : QWidget(parent),
      language_(language),
      up_(new QPushButton(this)),
      place_(new QLabel(this)),
      treemapButton_(new QPushButton(this)),
      flameButton_(new QPushButton(this)),
      hint_(new QLabel(this)),
      pictures_(new QStackedWidget(this)),
      treemap_(new TreemapWidget(pictures_)),
      flame_(new FlameGraphWidget(pictures_)) {
    place_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    place_->setWordWrap(true);
    hint_->setWordWrap(true);
    pictures_->addWidget(treemap_);
    pictures_->addWidget(flame_);
    treemap_->setLanguage(language);
    flame_->setLanguage(language);

    auto* pictureChoice = new QButtonGroup(this);
    for (QPushButton* b : {treemapButton_, flameButton_}) {
        b->setCheckable(true);
        pictureChoice->addButton(b);
    }
    treemapButton_->setChecked(true);

    auto* bar = new QHBoxLayout;
    bar->addWidget(up_);
    bar->addWidget(place_, 1);
    bar->addWidget(treemapButton_);
    bar->addWidget(flameButton_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(hint_);
    layout->addWidget(pictures_, 1);

    connect(up_, &QPushButton::clicked, this, [this] {
        if (pictures_->currentWidget() == flame_)
            flame_->goUp();
        else
            treemap_->goUp();
    });
    connect(treemapButton_, &QPushButton::clicked, this, [this] { showFlameGraph(false); });
    connect(flameButton_, &QPushButton::clicked, this, [this] { showFlameGraph(true); });
    // Each picture follows the other's focus; the equality checks end the round trip.
    connect(treemap_, &TreemapWidget::breadcrumbChanged, this, [this] {
        if (flame_->focus() != treemap_->focus()) flame_->focusOn(treemap_->focus());
        showPlace();
    });
    connect(flame_, &FlameGraphWidget::focusChanged, this, [this](StorageTree::Index node) {
        if (treemap_->focus() != node) treemap_->drillInto(node);
        showPlace();
    });
    retranslate();
}

void StorageMapView::setTree(std::shared_ptr<const StorageTree> tree) {
    tree_ = std::move(tree);
    treemap_->setTree(tree_);
    flame_->setTree(tree_);
    retranslate();
}

void StorageMapView::setLanguage(AppLanguage language) {
    language_ = language;
    treemap_->setLanguage(language);
    flame_->setLanguage(language);
    retranslate();
}

void StorageMapView::showFlameGraph(bool flame) {
    pictures_->setCurrentWidget(flame ? static_cast<QWidget*>(flame_) : treemap_);
    (flame ? flameButton_ : treemapButton_)->setChecked(true);
}

void StorageMapView::retranslate() {
    const UiCopy copy{language_};
    up_->setText(copy.text("Up", "위로"));
    treemapButton_->setText(copy.text("Treemap", "트리맵"));
    flameButton_->setText(copy.text("Flame graph", "플레임 그래프"));
    hint_->setText(
        tree_ ? copy.text("Click a folder to look inside; Backspace goes back up. Sizes are as "
                          "the last insight scan found them.",
                          "폴더를 클릭하면 안을 볼 수 있고, Backspace를 누르면 위로 돌아갑니다. "
                          "크기는 마지막 인사이트 검사 때의 값입니다.")
              : copy.text("Run the insight scan to see where your space goes.",
                          "인사이트 검사를 실행하면 공간이 어디에 쓰이는지 볼 수 있습니다."));
    up_->setEnabled(tree_ != nullptr);
    treemapButton_->setEnabled(tree_ != nullptr);
    flameButton_->setEnabled(tree_ != nullptr);
    showPlace();
}

void StorageMapView::showPlace() {
    const QStringList names = treemap_->breadcrumb();
    place_->setText(tree_ ? names.join(QStringLiteral(" › ")) : QString());
    up_->setEnabled(tree_ != nullptr && names.size() > 1);
}

}  // namespace velmora::desktop
