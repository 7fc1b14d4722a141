// The first byte tells a request from a response. What can be read and written again must read the
// same a second time.

#include "Base/HTTPMessage.h"
#include "Base/Ref.h"
#include "Base/StreamMemory.h"

#include <cstdint>
#include <cstdlib>

namespace {

PXRef<CBaseStreamMemory> On(CFDataRef bytes)
{
    auto stream = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    stream->SetConstantData(bytes);
    return stream;
}

bool Equal(CFTypeRef a, CFTypeRef b)
{
    return a == b || (a && b && CFEqual(a, b));
}

void CheckCopy(CHTTPMessage& message)
{
    CHTTPMessage copy(message.GetMethod(), message.GetUri(), nullptr);
    if (message.GetParams()) copy.AddParams(message.GetParams());
    copy.SetContentBinary(message.GetRawContent());
    const auto stream = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    if (copy.Write(stream.Get()) != kPXOK) return;
    CHTTPMessage again;
    stream->SetPos(0);
    if (again.Read(stream.Get()) != kPXOK) return;  // a name may have broken the query
    if (!Equal(message.GetUri(), again.GetUri())) std::abort();
    if (!Equal(message.GetRawContent(), again.GetRawContent())) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size == 0) return 0;
    const auto data =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, bytes + 1, static_cast<CFIndex>(size - 1)));
    const auto stream = On(data.Get());
    CHTTPMessage message(bytes[0] & 1);
    while (message.Read(stream.Get()) == kPXOK) {
        message.GetResponse();
        message.GetParamInt(CFSTR("a"));
        CFStringRef verb = nullptr;
        CFStringRef object = nullptr;
        message.GetVerbAndObject(verb, object);
        if (message.GetType() == kHTTPMessageRequest && message.GetRawContent()) CheckCopy(message);
    }
    if (stream->GetReadCap() != kPXStreamDefaultCap) std::abort();
    return 0;
}
