#include "kvt_grph/GTools.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

TEST(GTools, ARangeThatIsCrossedGivesItsLowEnd) {
    EXPECT_EQ(GTools::Range(5, 7, 3), 7);
    EXPECT_EQ(GTools::Range(9, 7, 3), 3);
    EXPECT_EQ(GTools::Range(GPoint(-1, 9), GPoint(0, 0), GPoint(5, 6)), GPoint(0, 6));
    EXPECT_EQ(GTools::SmartColor(RGB_Color(1, 2, 3), RGB_Color(3, 2, 1), 0), RGB_Color(1, 2, 3));
    EXPECT_EQ(GTools::SmartColor(RGB_Color(1, 2, 3), RGB_Color(3, 2, 1), 1), RGB_Color(2, 0, 2));
}

TEST(GTools, APolygonContainsItsEdgesAndCornersAndNothingBeside) {
    // An arrow head with a notch at (4, 4).
    GPoint const arrow[] = {{0, 0}, {8, 0}, {4, 4}, {8, 8}, {0, 8}};
    char const * const rows[] = {"xxxxxxxxx", "xxxxxxxx.", "xxxxxxx..", "xxxxxx...", "xxxxx....",
                                 "xxxxxx...", "xxxxxxx..", "xxxxxxxx.", "xxxxxxxxx"};
    long xs[5], ys[5];
    for (int i = 0; i < 5; ++i) {
        xs[i] = arrow[i].x;
        ys[i] = arrow[i].y;
    }
    for (long y = -1; y <= 9; ++y)
        for (long x = -1; x <= 9; ++x) {
            bool const inside = x >= 0 && x <= 8 && y >= 0 && y <= 8 && rows[y][x] == 'x';
            EXPECT_EQ(GTools::Contains(arrow, 5, GPoint(x, y)), inside) << x << ", " << y;
            EXPECT_EQ(GTools::contains(xs, ys, 5, x, y), inside) << x << ", " << y;
        }
    EXPECT_FALSE(GTools::Contains(arrow, 0, GPoint(0, 0)));
}

TEST(GTools, LargeCoordinatesDoNotOverflow) {
    long const far = 0x7FFFFFFF;
    GPoint const square[] = {{-far, -far}, {far, -far}, {far, far}, {-far, far}};
    EXPECT_TRUE(GTools::Contains(square, 4, GPoint(0, 0)));
    EXPECT_TRUE(GTools::Contains(square, 4, GPoint(far, 17)));
    GPoint const triangle[] = {{-far, -far}, {far, -far}, {far, far}};
    EXPECT_TRUE(GTools::Contains(triangle, 3, GPoint(5, 5)));
    EXPECT_FALSE(GTools::Contains(triangle, 3, GPoint(4, 5)));
}

TEST(GTools, ALineContainsWhatIsNearEnough) {
    GPoint const a(10, 0), b(0, 0); // in the wrong order, and level: widened in y
    EXPECT_TRUE(GTools::LineContainsPoint(a, b, 2, GPoint(5, -2)));
    EXPECT_FALSE(GTools::LineContainsPoint(a, b, 2, GPoint(5, 3)));
    EXPECT_FALSE(GTools::LineContainsPoint(a, b, 2, GPoint(11, 0)));
    GPoint const top(3, 10); // steep: widened in x
    EXPECT_TRUE(GTools::LineContainsPoint(b, top, 2, GPoint(-2, 0)));
    EXPECT_FALSE(GTools::LineContainsPoint(b, top, 2, GPoint(0, -1)));
    EXPECT_TRUE(GTools::PointContainsPoint(GPoint(1, 1), GPoint(3, -1), 2));
    EXPECT_FALSE(GTools::PointContainsPoint(GPoint(1, 1), GPoint(4, 1), 2));
}

TEST(GTools, AProjectionIsTheNearestPointOfTheLineRoundedUpInTheMiddle) {
    EXPECT_EQ(GTools::Projection(GPoint(0, 0), GPoint(10, 0), GPoint(4, 7)), GPoint(4, 0));
    EXPECT_EQ(GTools::Projection(GPoint(2, 2), GPoint(2, 2), GPoint(9, 9)), GPoint(2, 2));
    EXPECT_EQ(GTools::Projection(GPoint(0, 0), GPoint(2, 2), GPoint(7, 7)), GPoint(7, 7));
    EXPECT_EQ(GTools::Projection(GPoint(0, 0), GPoint(1, 1), GPoint(1, 0)), GPoint(1, 1));
    EXPECT_EQ(GTools::Projection(GPoint(0, 0), GPoint(-1, -1), GPoint(-1, 0)), GPoint(0, 0));
}

void note(GCallBackReason reason, void *, void * data) {
    static_cast<std::vector<int> *>(data)->push_back(
        reason == GCallBackReason(GTools::WasInterrupted) ? 0 : 1);
}

TEST(GTools, AnInterruptionIsToldOnceAndAResetEachTime) {
    std::vector<int> told;
    GTools::RegisterCallback(&note, GAnyReason, &told);
    GTools::Interrupt();
    GTools::Interrupt();
    EXPECT_TRUE(GTools::GetFlag());
    EXPECT_TRUE(GTools::InterruptedByKey());
    GTools::ResetInterrupt();
    GTools::ResetInterrupt();
    EXPECT_FALSE(GTools::GetFlag());
    GTools::UnRegisterCallback(&note, GAnyReason, &told);
    GTools::Interrupt();
    GTools::ResetInterrupt();
    EXPECT_EQ(told, (std::vector<int>{0, 1, 1}));
}

} // namespace
