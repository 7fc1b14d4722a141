// Steps of a reader on a stream: the first eight bytes choose them, the rest is what is read. The
// same steps on memory and on a sub-stream around the same bytes must give the same.

#include "Base/Ref.h"
#include "Base/StreamMemory.h"
#include "Base/StreamSub.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr size_t kSteps = 8;

std::string TextOf(CFDataRef owned)
{
    if (!owned) return "null";
    const auto data = CFRef<CFDataRef>::Adopt(owned);
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(owned)),
            static_cast<size_t>(CFDataGetLength(owned))};
}

// What a step gave, as text.
std::string Step(CBaseStream& stream, uint8_t step)
{
    PXStatus status = kPXOK;
    std::string got;
    switch (step % 6) {
        case 0: {
            CFDataRef data = nullptr;
            status = stream.ReadBlockCopy(data);
            got = TextOf(data);
            break;
        }
        case 1: {
            CFPropertyListRef list = nullptr;
            status = stream.readPropertyListCopy(0, list);
            if (list) CFRelease(list);
            got = list ? "list" : "";
            break;
        }
        case 2: {
            size_t capacity = 1;
            auto* buffer = static_cast<char*>(std::malloc(capacity));
            status = stream.ReadLine(buffer, capacity);
            if (status == kPXOK) got = buffer;
            std::free(buffer);
            break;
        }
        case 3: {
            CFDataRef data = nullptr;
            status = stream.ReadDataCopy(step, data);
            got = TextOf(data);
            break;
        }
        case 4:
            status = stream.Skip(step);
            break;
        default:
            stream.SetByteOrder(step % 2);
    }
    // How far a failed read has come may differ; what it gave may not.
    return std::to_string(status) + got;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < kSteps) return 0;
    const auto whole = CFRef<CFDataRef>::Adopt(
        CFDataCreate(nullptr, bytes + kSteps, static_cast<CFIndex>(size - kSteps)));
    const auto memory = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    const auto around = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    memory->SetConstantData(whole.Get());
    around->SetConstantData(whole.Get());
    const auto sub =
        PXRef<CBaseStreamSub>::Adopt(new CBaseStreamSub(around.Get(), 0, size - kSteps));
    for (size_t i = 0; i < kSteps; ++i) {
        const std::string got = Step(*memory, bytes[i]);
        if (Step(*sub, bytes[i]) != got) std::abort();
        if (got.substr(0, 1) != "0") break;
    }
    return 0;
}
