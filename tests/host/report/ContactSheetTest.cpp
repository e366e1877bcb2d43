#include "host/report/ContactSheet.h"

#include "host/report/TextPainter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

std::vector<host::SheetCell> MakeCells(int count, int width, int height)
{
    std::vector<host::SheetCell> cells;
    for (int i = 0; i < count; ++i) {
        host::Image picture(width, height);
        picture.Fill(0, 0, width, height, {static_cast<std::uint8_t>(100 + i), 0, 0});
        cells.push_back({picture, "cell", false});
    }
    return cells;
}

} // namespace

TEST(SheetLayout, KeepsCellsApartAndInside)
{
    host::SheetLayout const layout(7, 3, 40, 20, 1, true);
    EXPECT_GT(layout.GetCellY(0), layout.GetMargin());
    for (int cell = 0; cell < 7; ++cell) {
        EXPECT_EQ(layout.GetCellX(cell), layout.GetCellX(cell % 3));
        EXPECT_EQ(layout.GetLabelY(cell) > layout.GetCellY(cell) + 20, true);
        EXPECT_LE(layout.GetCellX(cell) + 40 + layout.GetMargin(), layout.GetWidth());
        EXPECT_LE(layout.GetLabelY(cell) + host::GetTextHeight(1) + layout.GetMargin(),
                  layout.GetHeight());
        if (cell >= 3) {
            EXPECT_GT(layout.GetCellY(cell), layout.GetLabelY(cell - 3) + host::GetTextHeight(1));
        }
    }
    EXPECT_GT(layout.GetCellX(1), layout.GetCellX(0) + 40);
}

TEST(SheetLayout, IsNoWiderThanItsCells)
{
    host::SheetLayout const two(2, 6, 40, 20, 1, false);
    host::SheetLayout const six(6, 6, 40, 20, 1, false);
    EXPECT_LT(two.GetWidth(), six.GetWidth());
    EXPECT_EQ(two.GetHeight(), six.GetHeight());
}

TEST(SheetLayout, StandsWithoutCells)
{
    host::SheetLayout const none(0, 0, 40, 20, 1, false);
    EXPECT_GT(none.GetWidth(), 0);
    EXPECT_GT(none.GetHeight(), 0);
}

TEST(ContactSheet, PutsEveryPictureInItsPlace)
{
    host::SheetLayout const layout(5, 2, 30, 18, 1, true);
    host::Image const sheet = host::MakeContactSheet(MakeCells(5, 30, 18), 2, 30, 18, 1, "heading");
    ASSERT_EQ(sheet.GetWidth(), layout.GetWidth());
    ASSERT_EQ(sheet.GetHeight(), layout.GetHeight());
    for (int cell = 0; cell < 5; ++cell) {
        int const x = layout.GetCellX(cell);
        int const y = layout.GetCellY(cell);
        EXPECT_EQ(sheet.GetPixel(x, y)[0], 100 + cell);
        EXPECT_EQ(sheet.GetPixel(x + 29, y + 17)[0], 100 + cell);
        EXPECT_NE(sheet.GetPixel(x - 1, y)[0], 100 + cell);
        EXPECT_NE(sheet.GetPixel(x, y + 18)[0], 100 + cell);
    }
}

TEST(ContactSheet, ScalesPicturesOfAnotherSize)
{
    host::SheetLayout const layout(1, 1, 30, 18, 0, false);
    host::Image const sheet = host::MakeContactSheet(MakeCells(1, 90, 54), 1, 30, 18, 0, "");
    EXPECT_EQ(sheet.GetPixel(layout.GetCellX(0) + 29, layout.GetCellY(0) + 17)[0], 100);
}

TEST(TextPainter, DrawsDotsOfItsScaleInsideTheMeasuredWidth)
{
    host::Image image(60, 20);
    host::PaintText(&image, 1, 1, "1-1", 2, {255, 255, 255});
    int const width = host::MeasureText("1-1", 2);
    EXPECT_EQ(width, 34);
    int lit = 0;
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 60; ++x) {
            bool const on = image.GetPixel(x, y)[0] != 0;
            lit += on ? 1 : 0;
            if (on) {
                EXPECT_GE(x, 1);
                EXPECT_LT(x, 1 + width);
                EXPECT_LT(y, 1 + host::GetTextHeight(2));
            }
        }
    }
    // Twice the ten dots of a one and the five of a dash, four pixels a dot.
    EXPECT_EQ(lit, (10 + 5 + 10) * 4);
}

TEST(TextPainter, DrawsSmallLettersAsCapitalsAndUnknownOnesAsBlanks)
{
    host::Image small(40, 8);
    host::Image capital(40, 8);
    host::PaintText(&small, 0, 0, "abz", 1, {255, 0, 0});
    host::PaintText(&capital, 0, 0, "ABZ", 1, {255, 0, 0});
    EXPECT_EQ(small.GetPixels(), capital.GetPixels());
    host::Image blank(40, 8);
    host::PaintText(&blank, 0, 0, "\x01\xE9 ", 1, {255, 0, 0});
    EXPECT_EQ(blank.GetPixels(), host::Image(40, 8).GetPixels());
    EXPECT_EQ(host::MeasureText("", 3), 0);
}
