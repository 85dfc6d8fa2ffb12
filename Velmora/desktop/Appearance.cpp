#include "Velmora/desktop/Appearance.h"

#include <QApplication>
#include <QLabel>
#include <QPalette>
#include <QStyle>
#include <QWidget>

namespace velmora::desktop {
namespace {

QPalette darkPalette() {
    QPalette p;
    const QColor window(0x2b, 0x2d, 0x31), base(0x1f, 0x21, 0x24), text(0xe8, 0xea, 0xed);
    const QColor accent(0x5b, 0x9b, 0xf8), disabled(0x80, 0x84, 0x8a);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, window);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, accent);
    p.setColor(QPalette::HighlightedText, Qt::black);
    p.setColor(QPalette::Link, accent);
    p.setColor(QPalette::PlaceholderText, disabled);
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, disabled);
    return p;
}

QPalette lightPalette() {
    QPalette p;
    const QColor window(0xf5, 0xf6, 0xf8), text(0x1d, 0x1f, 0x23), accent(0x1a, 0x66, 0xd2);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::AlternateBase, QColor(0xee, 0xf0, 0xf3));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, window);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::Highlight, accent);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, accent);
    return p;
}

}  // namespace

void applyAppearance(QApplication& app, AppearanceMode mode, TextScale scale,
                     const QFont& baseFont) {
    switch (mode) {
        case AppearanceMode::system:
            app.setPalette(app.style()->standardPalette());
            break;
        case AppearanceMode::light:
            app.setPalette(lightPalette());
            break;
        case AppearanceMode::dark:
            app.setPalette(darkPalette());
            break;
    }
    QFont font = baseFont;
    const double points = baseFont.pointSizeF() > 0 ? baseFont.pointSizeF() : 10.0;
    font.setPointSizeF(points * textScaleFactor(scale));
    app.setFont(font);
    for (QWidget* w : app.allWidgets()) {
        if (auto* label = qobject_cast<QLabel*>(w); label && label->property("heading").isValid())
            markHeading(label, label->property("heading").toInt());
    }
    // Widgets that set their own font (headings) derive from the application's at creation;
    // tell every widget to lay out again with the new size.
    for (QWidget* w : app.allWidgets()) w->updateGeometry();
}

void markHeading(QLabel* label, int level) {
    label->setProperty("heading", level);
    // Headings follow the application's font (and so the text size) at a fixed ratio; a
    // stylesheet would do the same but slows down the polish of every widget at start-up.
    QFont font = QApplication::font();
    const double points = font.pointSizeF() > 0 ? font.pointSizeF() : 10.0;
    font.setPointSizeF(points * (level == 1 ? 1.6 : 1.25));
    font.setBold(true);
    label->setFont(font);
}

}  // namespace velmora::desktop
