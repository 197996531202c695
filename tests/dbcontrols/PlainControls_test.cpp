// Check list, check box, spin edit and colour button: which changes reach their
// events and which limits hold.
#include "dbcontrols/TCheckListBox.h"
#include "dbcontrols/TJvOfficeColorButton.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/ZELColor.h"
#include "tests/QtPrinters.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QMenu>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QTest>
#include <QToolButton>

namespace {

TEST(CheckListBox, OnlyUserTogglesFireOnClickCheck)
{
    TCheckListBox kanaele;
    QStringList items;
    for (int i = 1; i <= 9; ++i)
        items << QStringLiteral(" %1").arg(i);
    kanaele.SetItems(items);
    kanaele.resize(80, 200);
    kanaele.show();
    int clicks = 0;
    QList<bool> seen;
    kanaele.OnClickCheck = [&](QObject* sender) {
        EXPECT_EQ(sender, &kanaele);
        ++clicks;
        // A handler that sets other boxes (toggle mode) does not call itself again.
        for (int i = 0; i < kanaele.Count(); ++i)
            if (i != kanaele.ItemIndex())
                kanaele.SetChecked(i, !kanaele.Checked(kanaele.ItemIndex()));
        seen.clear();
        for (int i = 0; i < kanaele.Count(); ++i)
            seen << kanaele.Checked(i);
    };
    for (int i = 0; i < 9; ++i)
        kanaele.SetChecked(i, true);
    EXPECT_EQ(clicks, 0);
    EXPECT_EQ(kanaele.Items(), items);

    // Space on the current item.
    kanaele.setFocus();
    kanaele.SetItemIndex(2);
    QTest::keyClick(kanaele.viewport(), Qt::Key_Space);
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(seen, (QList<bool>{true, true, false, true, true, true, true, true, true}));

    // A mouse click on the check box of item 5 unchecks it; the handler turns the others on.
    QStyleOptionViewItem option;
    option.initFrom(&kanaele);
    option.rect = kanaele.visualItemRect(kanaele.item(5));
    option.features |= QStyleOptionViewItem::HasCheckIndicator;
    const QRect box = kanaele.style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, &kanaele);
    QTest::mouseClick(kanaele.viewport(), Qt::LeftButton, {}, box.center());
    EXPECT_EQ(clicks, 2);
    EXPECT_EQ(kanaele.ItemIndex(), 5);
    EXPECT_FALSE(kanaele.Checked(5));
    EXPECT_EQ(seen, (QList<bool>{true, true, true, true, true, false, true, true, true}));

    // Out of range is ignored, not a crash.
    kanaele.SetChecked(42, true);
    EXPECT_FALSE(kanaele.Checked(42));
}

TEST(CheckEdit, OnChangeFollowsEveryChange)
{
    TdxCheckEdit toggle(QStringLiteral("toggle"));
    int changes = 0;
    toggle.OnChange = [&](QObject*) { ++changes; };
    toggle.SetChecked(true);
    toggle.SetChecked(true);
    EXPECT_EQ(changes, 1);
    toggle.show();
    QTest::mouseClick(&toggle, Qt::LeftButton, {}, QPoint(8, toggle.height() / 2));
    EXPECT_FALSE(toggle.Checked());
    EXPECT_EQ(changes, 2);
}

TEST(SpinEdit, ValuesStayWithinTheLimits)
{
    TdxSpinEdit posU;
    posU.SetMinValue(90);
    posU.SetMaxValue(100);
    posU.SetValue(90);
    QList<int> values;
    posU.OnChange = [&](QObject*) { values << posU.IntValue(); };
    posU.SetValue(150);
    EXPECT_EQ(posU.Value(), 100);
    posU.SetValue(5);
    EXPECT_EQ(posU.Value(), 90);

    // Typing cannot take it out of range either.
    posU.show();
    posU.setFocus();
    posU.selectAll();
    QTest::keyClicks(&posU, QStringLiteral("150"));
    QTest::keyClick(&posU, Qt::Key_Return);
    EXPECT_LE(posU.Value(), 100);
    EXPECT_GE(posU.Value(), 90);
    QTest::keyClick(&posU, Qt::Key_Up);
    EXPECT_LE(posU.Value(), 100);
    EXPECT_EQ(values.front(), 100);

    // Without limits set any integer goes.
    TdxSpinEdit free;
    free.SetValue(-123456);
    EXPECT_EQ(free.Value(), -123456);
}

TEST(ColorButton, PaletteChoiceAndProgramChangeFireOnColorChange)
{
    TJvOfficeColorButton button;
    QList<TColor> changes;
    button.OnColorChange = [&](QObject* sender) {
        EXPECT_EQ(sender, &button);
        changes << button.SelectedColor();
    };
    button.SetSelectedColor(clRed);
    button.SetSelectedColor(clRed);
    EXPECT_EQ(changes, QList<TColor>{clRed});

    // The drop-down's palette cells set the colour they show.
    QMenu* menu = button.menu();
    ASSERT_NE(menu, nullptr);
    const QList<QToolButton*> cells = menu->findChildren<QToolButton*>();
    ASSERT_EQ(cells.size(), TJvOfficeColorButton::PaletteColors().size());
    const int index = 12;
    cells[index]->click();
    EXPECT_EQ(button.SelectedColor(), TJvOfficeColorButton::PaletteColors()[index]);
    EXPECT_EQ(button.SelectedColor(), clBlue);
    EXPECT_EQ(changes.size(), 2);

    // The face shows the colour.
    button.resize(60, 24);
    const QImage face = button.grab().toImage();
    EXPECT_EQ(face.pixelColor(15, 12), ColorToQColor(clBlue));
}

}  // namespace
