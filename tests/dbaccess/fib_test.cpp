// Error vocabulary of the database layer: message rows, composed exception texts,
// the status vector walk.

#include "DbTestSupport.h"
#include "dbaccess/FIBComponent.h"
#include "dbaccess/fib.h"

#include <gtest/gtest.h>

#include <thread>

TEST(FIBErrors, MessageRowsAndFormatting)
{
    EXPECT_EQ(FIBMessageText(0), "Unknown error.");
    EXPECT_EQ(FIBMessageText(51), "SQL Parse Error in :%s" + CRLF + CRLF + "%s");
    EXPECT_EQ(FIBMessageText(58),
              "Can't end a shared transaction unless it is forced and equal to the transaction's TimeoutAction.");
    EXPECT_TRUE(FIBMessageText(75).endsWith("UpdateTransaction must be equel Transaction or AutoCommit=True "));
    EXPECT_EQ(FIBMessageText(78),
              "%s is an Firebird 2 function. Please upgrade to Firebird 2 to use this functonality");
    EXPECT_TRUE(FIBMessageText(79).isEmpty());
    EXPECT_TRUE(FIBMessageText(-1).isEmpty());

    EXPECT_EQ(FormatFIBText(FIBMessageText(55), {5, 255}), "Windows API error. (Windows error 5 [$000000FF])");
    EXPECT_EQ(FormatFIBText(FIBMessageText(57), {2, 7}), "Column types don't match. (From index: 2, To index: 7)");
    // Missing arguments leave their places empty rather than reading past the list.
    EXPECT_EQ(FormatFIBText("%s and %s", {"a"}), "a and ");
    EXPECT_EQ(FormatFIBText("100%% %s", {"x"}), "100% x");
}

TEST(FIBErrors, ErrorsCarryRowAndTextComposedUnderTheFlagsOfTheirTime)
{
    TErrorFlagsGuard guard;
    SetErrorDisplayFlags(DefaultErrorDisplayFlags);
    const auto unknown = Caught<EFIBClientError>([] { RaiseClientError(fibceDPBConstantUnknown, {"foo"}); });
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->SQLCode, 9);
    EXPECT_EQ(unknown->Message(), "DPB Constant (foo) is unknown.");
    EXPECT_STREQ(unknown->what(), "DPB Constant (foo) is unknown.");
    const auto custom = Caught<EFIBError>([] { RaiseClientErrorText("custom %d", {42}); });
    ASSERT_TRUE(custom);
    EXPECT_EQ(custom->SQLCode, -1);
    EXPECT_EQ(custom->Message(), "custom 42");

    TComponent named;
    named.SetName("DB1");
    const auto closed = Caught<EFIBClientError>([&] { RaiseClientError(fibceDatabaseClosed, {"DB1"}, &named); });
    ASSERT_TRUE(closed);
    EXPECT_EQ(closed->RaiserName, "DB1");
    EXPECT_EQ(closed->Raiser, &named);
    EXPECT_EQ(closed->Message(), "DB1:" + CRLF + "DB1: Cannot perform operation -- DB is not open.");
    // A one-character raiser name is not put in front.
    named.SetName("X");
    const auto opened = Caught<EFIBClientError>([&] { RaiseClientError(fibceDatabaseOpen, {}, &named); });
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->Message(), "Cannot perform operation -- DB is currently open.");

    // A server error's text is composed under the flags of its time.
    named.SetName("TR1");
    EFIBInterBaseError all(-104, &named, "Sql." + CRLF, "Ib." + CRLF);
    all.SetCustomMessage("Custom ");
    EXPECT_EQ(all.Message(), "TR1:" + CRLF + "Sql." + CRLF + "Ib." + CRLF + "Custom ");
    all.SetMessageBody("Body");
    EXPECT_EQ(all.Message(), "TR1:" + CRLF + "Sql." + CRLF + "Ib." + CRLF + "Custom Body");

    // Flags changed later do not touch an error already made.
    SetErrorDisplayFlags(ShowIBMessage);
    all.SetMessageBody("B2");
    EXPECT_TRUE(all.Message().startsWith("TR1:"));

    EFIBInterBaseError onlyIb(-104, &named, "Sql.", "Ib.");
    EXPECT_EQ(onlyIb.Message(), "Ib.");

    SetErrorDisplayFlags(0);
    EFIBInterBaseError none(-104, &named, "Sql.", "Ib.");
    EXPECT_TRUE(none.Message().isEmpty());
    EXPECT_TRUE(none.MessageBody().isEmpty());
    EXPECT_EQ(none.SQLMessage, "Sql.");
}

TEST(FIBErrors, StatusVectorWalkAndThreads)
{
    ISC_STATUS* sv = StatusVector();
    static const char text[] = "xyz";
    const ISC_STATUS values[] = {isc_arg_gds,    100, isc_arg_cstring, 555, reinterpret_cast<ISC_STATUS>(text),
                                 isc_arg_string, 888, isc_arg_number,  777, isc_arg_end};
    std::copy(std::begin(values), std::end(values), sv);
    EXPECT_TRUE(CheckStatusVector({100}));
    EXPECT_TRUE(CheckStatusVector({1, 2, 777}));
    // The length word of a counted string and the pointer of a string are no codes.
    EXPECT_FALSE(CheckStatusVector({555}));
    EXPECT_FALSE(CheckStatusVector({888}));
    EXPECT_FALSE(CheckStatusVector({999}));
    EXPECT_EQ(StatusVectorPrimaryCode(), 100);

    // A vector without an end tag stops at its last word.
    for (int i = 0; i < StatusVectorLength; ++i)
        sv[i] = isc_arg_cstring;
    EXPECT_FALSE(CheckStatusVector({3}));

    // Another thread has a vector of its own.
    sv[0] = isc_arg_gds;
    sv[1] = 4711;
    ISC_STATUS seenByOther = -1;
    std::thread other([&] {
        seenByOther = StatusVector()[1];
        StatusVector()[1] = 1;
    });
    other.join();
    EXPECT_EQ(seenByOther, 0);
    EXPECT_EQ(StatusVector()[1], 4711);
    std::fill(sv, sv + StatusVectorLength, 0);
}

TEST(FIBComponents, EventListsAddOnceAndForgetDeadTargets)
{
    TNotifyEventList list;
    auto target = std::make_unique<TComponent>();
    TComponent other;
    int calls = 0;
    std::vector<int> order;
    EXPECT_EQ(list.Add(target.get(), [&](TComponent*) { ++calls; order.push_back(1); }), 0);
    EXPECT_EQ(list.Add(target.get(), [&](TComponent*) { calls += 100; }), 0);
    EXPECT_EQ(list.Add(&other, [&](TComponent*) { order.push_back(2); }), 1);
    list.Call(true, nullptr);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(order, (std::vector<int>{2, 1}));
    target.reset();
    EXPECT_EQ(list.Count(), 1);
    list.Call(false, nullptr);
    EXPECT_EQ(calls, 1);
}
