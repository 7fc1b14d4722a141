// Every exported flat function takes null, wrong and extreme arguments without a crash, a hang or a
// good status where its object is missing. The list of functions is made from the exports and the
// headers, so that a new function is in it from its first day.

#include "support/ArgumentValues.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

using px::test::IsHandle;
using px::test::Values;

// Calls that are left out, each for its reason.
const std::map<std::string_view, const char*> kLeftOut = {
    {"PXThreadSleep", "sleeps as long as it is told"},
    {"PXConditionWait", "waits for a signal"},
    {"PXConditionTimedWait", "waits as long as it is told"},
    {"PXProcessKill", "ends a process that it is told"},
    {"PXMutexUnlock", "of a mutex that is not held is the caller's fault"},
};

// Null is a good object here.
constexpr std::string_view kTakesNull = "PXProgressGetStatus";

template <class Result, class... Arguments, size_t... Index>
bool CallAll(Result (*function)(Arguments...), bool givesStatus, std::index_sequence<Index...>)
{
    const auto call = [&](auto&... values) {
        px::test::room.fill(0);
        return function(values...);
    };
    bool isRight = true;
    // From all neutral and from all good values one argument at a time takes all of its values.
    for (const bool isGood : {false, true}) {
        const auto base = [&]<class T>(std::type_identity<T>) {
            const auto values = Values<T>();
            return isGood ? values.back() : values.front();
        };
        [[maybe_unused]] const auto vary =
            [&]<size_t Place>(std::integral_constant<size_t, Place>) {
                using Varied = std::tuple_element_t<Place, std::tuple<Arguments...>>;
                for (size_t i = 0, count = Values<Varied>().size(); i < count; ++i) {
                    std::tuple<Arguments...> values(base(std::type_identity<Arguments>())...);
                    std::get<Place>(values) = Values<Varied>()[i];
                    std::apply(call, values);
                }
            };
        (vary(std::integral_constant<size_t, Index>()), ...);
        if constexpr (sizeof...(Arguments) == 0) call();
    }
    if constexpr (sizeof...(Arguments) > 0 && std::is_same_v<Result, PXStatus>) {
        using First = std::tuple_element_t<0, std::tuple<Arguments...>>;
        if (givesStatus && IsHandle<First>) {
            std::tuple<Arguments...> nothing(Values<Arguments>().front()...);
            isRight = std::apply(call, nothing) != kPXOK;
        }
    }
    return isRight;
}

template <class Result, class... Arguments>
bool Call(Result (*function)(Arguments...) noexcept, bool givesStatus)
{
    return CallAll<Result, Arguments...>(function, givesStatus,
                                         std::index_sequence_for<Arguments...>());
}

struct Function {
    const char* name;
    std::function<bool()> call;
};

#define FUNCTION(name, givesStatus) {#name, [] { return Call(&name, givesStatus); }},
const Function kFunctions[] = {
#include "arguments_functions.inc"
};
#undef FUNCTION

// The functions go in four shares, which may run side by side.
constexpr size_t kShares = 4;
class Arguments : public testing::TestWithParam<size_t> {};

}  // namespace

// Each function runs in a process of its own: what it breaks, waits for or releases ends with it.
TEST_P(Arguments, NullWrongAndExtremeOnesHurtNoFunction)
{
    testing::FLAGS_gtest_death_test_style = "fast";
    for (size_t i = GetParam(); i < std::size(kFunctions); i += kShares) {
        const Function& function = kFunctions[i];
        if (kLeftOut.contains(function.name)) continue;
        std::printf("%s\n", function.name);
        std::fflush(stdout);
        EXPECT_EXIT(std::_Exit(function.call() || function.name == kTakesNull ? 0 : 1),
                    testing::ExitedWithCode(0), "")
            << function.name << " (1: a good status without its object)";
    }
}
INSTANTIATE_TEST_SUITE_P(Share, Arguments, testing::Range(size_t{0}, kShares));
