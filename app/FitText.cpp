#include "FitText.h"

#include "ui_MainWindow.h"

#include <QFontInfo>
#include <QProxyStyle>
#include <QStyleOptionButton>
#include <QtMath>

#include <algorithm>
#include <vector>

namespace {

/// A text of the form and the room it has for one line.
struct PlacedText
{
    QString text;
    QSize room;
};

/// How much of its room the fullest of the texts takes in this font, above and below its letters
/// too. 1 is a tight fit.
double fullness(const std::vector<PlacedText>& texts, const QFont& font)
{
    const QFontMetricsF metrics(font);
    double fullest = 0;
    for (const auto& [text, room] : texts) {
        const QSizeF line = metrics.size(Qt::TextSingleLine, text);
        fullest = std::max({fullest, line.width() / room.width(), line.height() / room.height()});
    }
    return fullest;
}

/// What the style leaves of the button for its text.
QSize room_of(const QPushButton& button)
{
    QStyleOptionButton option;
    option.initFrom(&button);
    return button.style()->subElementRect(QStyle::SE_PushButtonContents, &option, &button).size();
}

std::vector<PlacedText> texts_of(const QList<QWidget*>& controls)
{
    std::vector<PlacedText> texts;
    for (const QWidget* const control : controls) {
        if (const auto* const label = qobject_cast<const QLabel*>(control))
            texts.push_back({label->text(), label->size()});
        if (const auto* const button = qobject_cast<const QPushButton*>(control))
            texts.push_back({button->text(), room_of(*button)});
    }
    return texts;
}

/// Leaves room at the end of a group box's title: styles measure it in whole pixels, and with some
/// fonts they cut its last letter.
class RoomyTitleStyle final : public QProxyStyle
{
public:
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget) const override
    {
        QRect rect = QProxyStyle::subControlRect(control, option, part, widget);
        if (part == SC_GroupBoxLabel)
            rect.setWidth(rect.width() + rect.height());
        return rect;
    }
};

/// Gives neighbouring controls a common font in which the texts of their labels and buttons fit;
/// their own font if it does.
void fit_together(const QList<QWidget*>& controls)
{
    const std::vector<PlacedText> texts = texts_of(controls);
    QFont font = controls.first()->font();
    const double full = fullness(texts, font);
    if (full <= 1)
        return;
    // A line shrinks with its font, nearly. Every size that is tried costs the start a font.
    int size = qFloor(QFontInfo(font).pixelSize() / full);
    for (; size > 0 && fullness(texts, font) > 1; --size)
        font.setPixelSize(size);
    for (QWidget* const control : controls)
        control->setFont(font);
}

} // namespace

void FitTexts(Ui_MainWindow& form)
{
    fit_together({form.ChooseMetadata, form.SubmitButton, form.ViewButton});
    fit_together({form.ModName, form.ModVersion, form.TagsLabel});
    fit_together({form.label, form.ModVisibility}); // whose entries have more room
    fit_together({form.ChangePreview});

    auto* const title_style = new RoomyTitleStyle;
    title_style->setParent(form.groupBox);
    form.groupBox->setStyle(title_style);
}
