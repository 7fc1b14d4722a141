// Messages: their bytes both ways, their limits, and what is refused.

#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/Ref.h"
#include "Base/StreamMemory.h"
#include "PXCore/PXHttpMessage.h"
#include "support/Test.h"
#include "support/ValueTest.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

constexpr PXStatus kOK = kPXOK;

class MessageTest : public ValueTest {};

PXRef<CBaseStreamMemory> On(const std::string& bytes)
{
    auto stream = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    stream->SetConstantData(DataOf(bytes));
    return stream;
}

std::string Written(CHTTPMessage& message)
{
    const auto stream = On("");
    EXPECT_EQ(kOK, message.Write(stream.Get()));
    return BytesOf(stream->GetData());
}

PXStatus Read(CHTTPMessage& message, const std::string& bytes)
{
    return message.Read(On(bytes).Get());
}

std::string WithList(const std::string& start, const std::string& dictionary)
{
    const std::string list =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + dictionary +
        "\n</plist>\n";
    return start + "Content-Type: text/xml; charset=UTF8\r\nContent-Length: " +
           std::to_string(list.size()) + "\r\n\r\n" + list;
}

TEST_F(MessageTest, AreWrittenByteForByte)
{
    using Set = std::function<void(CHTTPMessage&)>;
    const Rows<HTTPMessageType, Set, std::string> rows = {
        {"nothing set", kHTTPMessageRequest, [](CHTTPMessage&) {},
         WithList("GET / HTTP/1.1\r\n", "<dict/>")},
        {"a response is OK whatever its code", kHTTPMessageResponse,
         [](CHTTPMessage& m) {
             m.SetResponseCode(404);
             m.SetContentBinary(DataOf("\0\r\n"s));
         },
         "HTTP/1.1 404 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: 3\r\n\r\n\0\r\n"s},
        {"everything but letters and digits is escaped", kHTTPMessageRequest,
         [](CHTTPMessage& m) {
             m.SetMethod(CFSTR("PUT"));
             m.SetUri(CFSTR("image/open"));
             m.SetParamObj(CFSTR("a.b"), CFSTR("a b/c"));
             m.SetParamObj(CFSTR("x"), CFSTR("x.y-z_~\xC3\xA9"));
             m.SetContentHTML(Text("<p>\u00E9"));
         },
         "PUT /image/open?a.b=a%20b%2Fc&x=x%2Ey%2Dz%5F%7E%C3%A9 HTTP/1.1\r\n"
         "Content-Type: text/html\r\nContent-Length: 5\r\n\r\n<p>\xC3\xA9"},
        {"parameters and headers keep their order", kHTTPMessageRequest,
         [](CHTTPMessage& m) {
             m.SetUri(CFSTR("u"));
             m.SetHeader(CFSTR("Z"), CFSTR("1"));
             m.SetHeader(CFSTR("A"), -2);
             m.SetContentJson(DataOf("{}"));
             m.SetHeader(CFSTR("Z"), CFSTR("3"));
             m.SetParam(CFSTR("z"), 4000000000U);
             m.SetParamObj(CFSTR("list"), ArrayOf({CFSTR("1"), CFSTR("&"), Number(int64_t{3})}));
             m.SetParam(CFSTR("a"), -5);
             m.SetParamDouble(CFSTR("d"), 1.5);
             m.SetParamCmd(CFSTR("go"));
         },
         "GET /u?z=4000000000&list=1&list=%26&list=3&a=%2D5&d=1%2E5&cmd=go HTTP/1.1\r\n"
         "Z: 3\r\nA: -2\r\nContent-Type: application/json\r\nContent-Length: 2\r\n\r\n{}"},
        {"entries become the body", kHTTPMessageResponse,
         [](CHTTPMessage& m) {
             m.SetContentInt(CFSTR("n"), -1);
             Written(m);
             m.SetContentString(CFSTR("s"), CFSTR("<"));
         },
         WithList("HTTP/1.1 200 OK\r\n",
                  "<dict>\n\t<key>n</key>\n\t<integer>-1</integer>\n"
                  "\t<key>s</key>\n\t<string>&lt;</string>\n</dict>")},
        {"an empty array is no parameter and no body is no body", kHTTPMessageRequest,
         [](CHTTPMessage& m) {
             m.SetUri(CFSTR("u"));
             m.SetParamObj(CFSTR("q"), CFSTR(""));
             m.SetContent(CFSTR("x/y"), DataOf(""));
         },
         "GET /u?q= HTTP/1.1\r\nContent-Type: x/y\r\nContent-Length: 0\r\n\r\n"},
    };
    for (const auto& [name, type, set, want] : rows) {
        SCOPED_TRACE(name);
        CHTTPMessage message(type);
        set(message);
        for (int i = 0; i < 2; ++i) EXPECT_EQ(want, Written(message));
    }
    CHTTPMessage request(nullptr, CFSTR("server"), CFSTR("connect"));
    request.SetParam(CFSTR("api-version"), 3);
    EXPECT_EQ(0U, Written(request).find("GET /server?cmd=connect&api-version=3 HTTP/1.1\r\n"));
}

// What a message has after reading: "method uri host type code body", or its status.
std::string Summary(CHTTPMessage& message, PXStatus status)
{
    if (status != kPXOK) return "status " + std::to_string(status);
    std::string text = Utf8Of(message.GetMethod());
    for (const CFStringRef part :
         {message.GetUri(), message.GetHost(), message.GetRawContentType()})
        text += " " + (part ? Utf8Of(part) : "-");
    const CFDataRef body = message.GetRawContent();
    return text + " " + std::to_string(message.GetResponseCode()) +
           (body ? " " + BytesOf(body) : "");
}

std::string Times(int count, const std::string& text)
{
    std::string all;
    while (count-- > 0) all += text;
    return all;
}

TEST_F(MessageTest, AreReadByteForByte)
{
    const std::string malformed = "status 1026", ended = "status 4294967295",
                      tooLong = "status 1025", length = "G /\r\nContent-Length: ";
    // Bytes that begin with "HTTP/" are read as a response.
    const Rows<std::string, std::string> rows = {
        {"body by its length, the rest stays",
         "POST /a/b HTTP/1.1\r\nHost: here:1\r\nContent-Length: 3\r\n\r\nabcd",
         "POST a/b here:1 - 200 abc"},
        {"no length, no body", "GET / HTTP/1.1\r\n\r\nabcd", "GET  - - 200"},
        {"only the first token of a header",
         "HTTP/1.1 404 Not Found\r\nContent-Type: text/xml; charset=UTF8\r\n\r\n",
         "GET - - text/xml; 404"},
        {"names in another case are other names",
         "GET /x HTTP/1.1\r\ncontent-length: 3\r\nHOST: h\r\nContent-type: t\r\n\r\nabc",
         "GET x - - 200"},
        {"chunked is noted and not decoded",
         "GET /x HTTP/1.1\r\nTransfer-encoding: chunked\r\nContent-Length: 2\r\n\r\n1\r\n",
         "GET x - - 200 1\r"},
        {"no version", "PUT /x\r\n\r\n", "PUT x - - 200"},
        {"no slash", "GET xy HTTP/1.1\r\n\r\n", "GET y - - 200"},
        {"the same length twice", length + "1\r\nContent-Length: 01\r\n\r\na", "G  - - 200 a"},
        {"odd code", "HTTP/1.1 99999999999x\r\n\r\n", "GET - - - 2147483647"},
        {"one token", "GET\r\n\r\n", malformed},
        {"one token of a response", "HTTP/1.1 \r\n\r\n", malformed},
        {"empty line", "\r\nGET / HTTP/1.1\r\n\r\n", ended},
        {"nothing", "", ended},
        {"head cut off", "GET / HTTP/1.1\r\nHost: h\r\n", ended},
        {"body cut off", length + "4\r\n\r\nabc", ended},
        {"no number", "G /\r\nContent-Length:\r\n\r\na", malformed},
        {"above the body's limit", length + "1073741825\r\n\r\n", tooLong},
        {"200 headers", "G /\r\n" + Times(200, "X: y\r\n") + "\r\n", "G  - - 200"},
        {"201 headers", "G /\r\n" + Times(201, "X: y\r\n") + "\r\n", tooLong},
        {"the longest line", "G /" + Times(65533, "x") + "\r\n\r\n",
         "G " + Times(65533, "x") + " - - 200"},
        {"one byte more", "G /" + Times(65534, "x") + "\r\n\r\n", tooLong},
        {"five long headers", "G /\r\n" + Times(5, "X: " + Times(60000, "y") + "\r\n") + "\r\n",
         tooLong},
    };
    const auto expectRead = [&](const std::string& want, const std::string& bytes) {
        CHTTPMessage message(bytes.starts_with("HTTP/") ? kHTTPMessageResponse
                                                        : kHTTPMessageRequest);
        EventLog events;
        const auto stream = On(bytes);
        EXPECT_EQ(want, Summary(message, message.Read(stream.Get())));
        EXPECT_EQ(uint64_t{kPXStreamDefaultCap}, stream->GetReadCap());
        EXPECT_TRUE((want != malformed && want != tooLong) || events.Messages().size() == 1);
    };
    for (const auto& [name, bytes, want] : rows) {
        SCOPED_TRACE(name);
        expectRead(want, bytes);
    }
    for (const std::string bad : {"-1", "+1", "0x1", "1,1", "4294967296", "18446744073709551617",
                                  "1\r\nContent-Length: 2", "0\r\nContent-Length: 2"}) {
        SCOPED_TRACE(bad);
        expectRead(malformed, length + bad + "\r\n\r\nab");
    }
}

TEST_F(MessageTest, TakeQueriesApart)
{
    CHTTPMessage message;
    ASSERT_EQ(kOK, Read(message,
                        "GET /image/open?id=1&id=2&x=a%20b%2Fc%25&bad&two=a=b&=e&n=12.5"
                        "&id=%C3%A9&raw=%FF&q=+&cmd=go HTTP/1.1\r\n\r\n"));
    CFStringRef verb = nullptr, object = nullptr;
    EXPECT_EQ(kOK, message.GetVerbAndObject(verb, object));
    EXPECT_EQ("open image", Utf8Of(verb) + " " + Utf8Of(object));
    // "two" and "bad" do not give exactly two parts.
    const auto want =
        DictionaryOf({{CFSTR("id"), ArrayOf({CFSTR("1"), CFSTR("2"), Text("\u00E9")})},
                      {CFSTR("x"), CFSTR("a b/c%")},
                      {CFSTR(""), CFSTR("e")},
                      {CFSTR("n"), CFSTR("12.5")},
                      {CFSTR("raw"), CFSTR("%FF")},
                      {CFSTR("q"), CFSTR("+")},
                      {CFSTR("cmd"), CFSTR("go")}});
    EXPECT_TRUE(CFEqual(want, message.GetParams()));
    EXPECT_EQ("go", Utf8Of(message.GetParamCmd()));
    EXPECT_EQ(12, message.GetParamInt(CFSTR("n")));
    EXPECT_EQ(12.5, message.GetParamDouble(CFSTR("n")));
    EXPECT_EQ(0, message.GetParamInt(CFSTR("absent")));
    const auto isEqual = [](CFTypeRef value, CFTypeRef owned) {
        return CFEqual(value, Owned<CFTypeRef>(owned));
    };
    EXPECT_TRUE(isEqual(Number(12.5), message.GetParamNumberCopy(CFSTR("n"))));
    EXPECT_EQ(nullptr, message.GetParamNumberCopy(CFSTR("x")));
    EXPECT_TRUE(isEqual(ArrayOf({CFSTR("12.5")}), message.GetParamAsArrayCopy(CFSTR("n"))));
    EXPECT_TRUE(
        isEqual(message.GetParamRaw(CFSTR("id")), message.GetParamAsArrayCopy(CFSTR("id"))));
    // Several marks: no query at all; one component: neither verb nor object.
    ASSERT_EQ(kOK, Read(message, "GET /image?a=1?b=2 HTTP/1.1\r\n\r\n"));
    EXPECT_EQ("image", Utf8Of(message.GetUri()));
    EXPECT_EQ(nullptr, message.GetParamRaw(CFSTR("a")));
    EXPECT_EQ(kPXErrStreamEnd, message.GetVerbAndObject(verb, object));
    EXPECT_EQ(nullptr, verb);
}

TEST_F(MessageTest, PackedBodiesCarryBytesBesideAList)
{
    CBaseMsg packed(CFSTR("tile"));
    packed.SetInt(CFSTR("id"), 7);
    packed.SetRaw(DataOf("\1\2\0\3"s));
    CHTTPMessage message(kHTTPMessageResponse);
    message.SetContent(&packed);
    const std::string bytes = Written(message);
    const size_t start = bytes.find("\r\n\r\n") + 4;
    EXPECT_EQ("\0\0\0\4\1\2\0\3\0\0\0"s, bytes.substr(start, 11));
    EXPECT_EQ(bytes.size() - start - 12, static_cast<unsigned char>(bytes[start + 11]));
    CHTTPMessage read(kHTTPMessageResponse);
    ASSERT_EQ(kOK, Read(read, bytes));
    const CFDictionaryRef list = read.GetResponse();
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(list, read.GetResponse());
    EXPECT_EQ("\1\2\0\3"s, BytesOf(As<CFDataRef>(CFDictionaryGetValue(list, CFSTR("raw")))));
    EXPECT_EQ(bytes.substr(start),
              BytesOf(As<CFDataRef>(CFDictionaryGetValue(list, CFSTR("--content--")))));
    const auto again = PXRef<CBaseMsg>::Adopt(CBaseMsg::CreateFromDictionary(list));
    EXPECT_EQ("tile", Utf8Of(again->GetName()));
    EXPECT_EQ(7, again->GetInt(CFSTR("id")));
    EXPECT_TRUE(CFEqual(packed.GetDictionary(), again->GetDictionary()));
    EXPECT_TRUE(CFEqual(packed.GetRaw(), again->GetRaw()));
    // Every length that lies, and every place where the body may end, gives null and one event.
    std::mt19937_64 random(Seed(3));
    for (int step = 0; step < 400; ++step) {
        std::string body = bytes.substr(start);
        if (step < 200) {
            body.resize(random() % body.size());
        } else {
            const size_t at = step % 2 ? random() % 4 : 8 + random() % 4;
            body[at] = static_cast<char>(body[at] + 1 + int(random() % 255));
        }
        CHTTPMessage damaged(kHTTPMessageResponse);
        const std::string head =
            "HTTP/1.1 200 OK\r\nContent-Type: packed/packed;x\r\nContent-Length: ";
        ASSERT_EQ(kOK, Read(damaged, head + std::to_string(body.size()) + "\r\n\r\n" + body));
        EventLog events;
        if (damaged.GetRawContent()) {
            EXPECT_EQ(nullptr, damaged.GetResponse());
            EXPECT_EQ(1, events.Count(kPXErrListRead));
        }
    }
}

TEST_F(MessageTest, AnswerOnTheStreamTheyCameFrom)
{
    const auto stream = On("GET /x HTTP/1.1\r\n\r\n");
    CHTTPMessage request;
    CBaseResponse response;
    response.SetResult(kPXErrSoft);
    EventLog events;
    EXPECT_EQ(PXStatus{kPXErrNotFound}, request.SendResponse(response));
    ASSERT_EQ(kOK, request.Read(stream.Get()));
    ASSERT_EQ(kOK, request.SendResponse(response));
    CHTTPMessage answer(kHTTPMessageResponse);
    stream->SetPos(19);
    ASSERT_EQ(kOK, answer.Read(stream.Get()));
    EXPECT_TRUE(
        CFEqual(DictionaryOf({{CFSTR("result"), Number(int64_t{1007})}}), answer.GetResponse()));
    // What was read passes on with its own length, not with that of a body before.
    const std::string posted =
        "POST /x HTTP/1.1\r\nContent-Type: t/t\r\nContent-Length: 3\r\n\r\nabc";
    request.SetContentBinary(DataOf("former"));
    ASSERT_EQ(kOK, Read(request, posted));
    EXPECT_EQ(posted, Written(request));
    // A text that would start another line is not sent.
    CHTTPMessage split;
    split.SetHeader(CFSTR("X"), CFSTR("1\r\nContent-Length: 9"));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, split.Write(stream.Get()));
    CHTTPMessage bad(nullptr, CFSTR("a\nb"), nullptr);
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, bad.Write(stream.Get()));
    CHTTPMessage unwritable;
    unwritable.SetContentValue(CFSTR("null"), kCFNull);
    EXPECT_NE(kOK, unwritable.Write(stream.Get()));
    EXPECT_TRUE(Read(answer, "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n<a>") == kOK &&
                !answer.GetResponse());
    EXPECT_EQ(1, events.Count(kPXErrListRead));
    CHTTPMessage browser;
    for (const std::string header : {"oRiGin: null", "SEC-Fetch-Mode: cors", "Original: 1"}) {
        EXPECT_EQ(kOK, Read(browser, "GET /x HTTP/1.1\r\n" + header + "\r\n\r\n"));
        EXPECT_EQ(header != "Original: 1", browser.IsFromBrowser());
    }
}

TEST_F(MessageTest, LinesAreCutFromABuffer)
{
    const std::string text = "ab\r\n\rc\n\r\n\r\nrest";
    const char* next = text.c_str();
    for (const std::string want : {"ab", "\rc\n", "<null>", "<null>"}) {
        char* copy = CHTTPMessage::ReadLine(next, text.c_str() + text.size(), &next);
        EXPECT_EQ(want, copy ? copy : "<null>");
        std::free(copy);
    }
    EXPECT_STREQ("rest", next);
}

TEST_F(MessageTest, HandlesForwardToTheClass)
{
    const auto stream = On("");
    const PXStream handle = px::ToHandle(stream.Get());
    PXHttpMessage request = PXHttpMessageCreateRequest(CFSTR("PUT"), CFSTR("a/b"), CFSTR("go"));
    PXHttpMessageAddParamInt(request, CFSTR("n"), -3);
    PXHttpMessageAddParams(request, DictionaryOf({{CFSTR("s"), CFSTR("t")}}));
    PXHttpMessageSetContentPacked(request, DataOf("raw"), DictionaryOf({}));
    EXPECT_EQ(kOK, PXHttpMessageWrite(request, handle));
    PXHttpMessageRelease(request);
    request = PXHttpMessageCreate(kHTTPMessageRequest);
    PXHttpLimits limits = {64, 2, 200, 10};
    EventLog events;
    for (const PXStatus want : {kPXErrNotSupported, kPXOK}) {
        EXPECT_EQ(kOK, PXHttpMessageSetLimits(request, &limits));
        stream->SetPos(0);
        EXPECT_EQ(want, PXHttpMessageRead(request, handle));
        PXHttpLimitsGetDefault(&limits);
    }
    EXPECT_EQ("PUT a/b go", Utf8Of(PXHttpMessageGetMethod(request)) + " " +
                                Utf8Of(PXHttpMessageGetUri(request)) + " " +
                                Utf8Of(PXHttpMessageGetParamCmd(request)));
    EXPECT_EQ(-3, PXHttpMessageGetParamInt(request, CFSTR("n")));
    EXPECT_EQ("packed/packed", Utf8Of(PXHttpMessageGetRawContentType(request)));
    EXPECT_EQ(2, CFDictionaryGetCount(PXHttpMessageGetContent(request)));
    PXHttpMessageRelease(request);
    EXPECT_EQ(nullptr, PXHttpMessageGetUri(nullptr));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXHttpMessageRead(nullptr, handle));
    EXPECT_EQ(2, events.Count(kPXErrBadArgument));
}

}  // namespace
