#include "ZEL_Processor/zel/Result.h"

#include "ZEL_Processor/zel/Status.h"

#include <gtest/gtest.h>

#include <memory>

TEST(Result, AValueIsThereAndHasNoReason)
{
    zel::Result<std::unique_ptr<int>> result = std::make_unique<int>(5);
    ASSERT_TRUE(result);
    EXPECT_EQ(result.code(), zel::Code::ok);
    EXPECT_EQ(result.reason(), "");
    EXPECT_EQ(**result, 5);
    const std::unique_ptr<int> taken = *std::move(result);
    EXPECT_EQ(*taken, 5);
}

TEST(Result, AnErrorHasItsReasonAndNoValue)
{
    const zel::Result<int> result = zel::Error{zel::Code::timeout, "too late"};
    EXPECT_FALSE(result);
    EXPECT_EQ(result.code(), zel::Code::timeout);
    EXPECT_EQ(result.reason(), "too late");
    EXPECT_THROW(static_cast<void>(result.value()), std::bad_variant_access);
    const zel::Result<void> handedOn = result.error();
    EXPECT_FALSE(handedOn);
    EXPECT_EQ(handedOn.reason(), "too late");
    EXPECT_TRUE(zel::Result<void>());
}

TEST(Result, TheStatesAreTheNumbersOfTheProtocol)
{
    for (int number = eRequestStatus_NotIntialized; number < eRequestStatus_Last; ++number) {
        const zel::Status status = zel::detail::toStatus(static_cast<eZelProcRequestStatus>(number), {});
        EXPECT_EQ(static_cast<int>(status.state), number);
        EXPECT_EQ(zel::nameOf(status.state) == "unknown", number == eRequestStatus_NotIntialized) << number;
        const bool hasEnded = number == eRequestStatus_ClientError || number == eRequestStatus_ServerError ||
                              number == eRequestStatus_ServerTimeout || number == eRequestStatus_NotRequested ||
                              number == eRequestStatus_Canceled || number == eRequestStatus_Done;
        EXPECT_EQ(status.hasEnded(), hasEnded) << number;
    }
    EXPECT_EQ(zel::State::done, static_cast<zel::State>(eRequestStatus_Done));
    EXPECT_EQ(zel::nameOf(zel::State::serverError), "server-error");
}
