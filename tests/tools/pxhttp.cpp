// Reads messages from standard input until it ends. `pxhttp request` and `pxhttp response` write
// what each holds as a binary property list in a block, `pxhttp copy` writes requests again.

#include "Base/HTTPMessage.h"
#include "Base/Ref.h"
#include "Base/StreamFile.h"
#include "Base/UTF8Text.h"
#include "PXCore/PXUtils.h"

#include <string>

namespace {

PXRef<CBaseStreamFile> Opened(const char* path, CFStringRef mode)
{
    auto stream = PXRef<CBaseStreamFile>::Adopt(new CBaseStreamFile);
    stream->SetPath(px::URLOf(path, false).Get());
    stream->SetMode(mode);
    stream->SetByteOrder(kPXStreamByteOrderSwapped);
    return stream->Open() == kPXOK ? stream : PXRef<CBaseStreamFile>();
}

void Describe(CHTTPMessage& message, CFDictionaryRef params, CBaseStreamFile& to)
{
    const auto facts = CFRef<CFMutableDictionaryRef>::Adopt(PXUtilsCFDictionaryCreateMutable2());
    const auto put = [&](CFStringRef key, CFTypeRef value) {
        if (value) CFDictionarySetValue(facts.Get(), key, value);
    };
    put(CFSTR("method"), message.GetMethod());
    put(CFSTR("uri"), message.GetUri());
    put(CFSTR("host"), message.GetHost());
    put(CFSTR("type"), message.GetRawContentType());
    put(CFSTR("body"), message.GetRawContent());
    put(CFSTR("params"), params);
    PXUtilsCFDictionarySetValueInt(facts.Get(), CFSTR("code"), message.GetResponseCode());
    to.writePropertyList(facts.Get(), kCFPropertyListBinaryFormat_v1_0);
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const auto from = Opened("/dev/stdin", CFSTR("r"));
    const auto to = Opened("/dev/stdout", CFSTR("w"));
    if (!from || !to) return 2;
    for (;;) {
        CHTTPMessage message(mode == "response" ? kHTTPMessageResponse : kHTTPMessageRequest);
        if (const PXStatus status = message.Read(from.Get())) return status != kPXErrStreamEnd;
        if (mode == "copy") {
            CHTTPMessage copy(message.GetMethod(), message.GetUri(), nullptr);
            if (message.GetParams()) copy.AddParams(message.GetParams());
            if (message.GetRawContent())
                copy.SetContent(message.GetRawContentType(), message.GetRawContent());
            if (copy.Write(to.Get())) return 1;
        } else {
            Describe(message, message.GetParams(), *to);
        }
    }
}
