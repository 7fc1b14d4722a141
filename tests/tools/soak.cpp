// Works like a busy application for as long as it is told: images that page, conversions, scaling,
// turning, lists, tasks and messages, from several threads at once. Sixty times it prints memory
// and handles; at the end neither may have grown since the first quarter. Memory is held against it
// in runs of minutes only, because caches fill in the first of them. usage: soak MINUTES [SEED]

#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/MsgBroadcaster.h"
#include "Base/Server.h"
#include "Base/ServerAPI.h"
#include "Base/Task.h"
#include "Base/TaskQueue.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageCache.h"
#include "support/Test.h"
#include "support/Works.h"

namespace {

using namespace px::test;
using Random = std::mt19937_64;

constexpr int kThreads = 4;
constexpr double kCacheBytes = 48 << 20;

std::atomic<bool> isOver{false};
std::atomic<long> rounds{0};

// What went wrong ends the run: afterwards the numbers would tell nothing.
void Check(bool isRight, const char* what)
{
    if (isRight) return;
    std::fprintf(stderr, "soak: %s\n", what);
    std::_Exit(1);
}

int32_t Side(Random& random)
{
    return static_cast<int32_t>(random() % 900 + 1);
}

// Pixels that are written must be read again, however often they were on the disk meanwhile.
void PageImage(Random& random)
{
    const PXRect bounds = {0, 0, Side(random) + 600, Side(random) + 600};
    const Image image = Make(bounds, 8, 4, kPXDataSourceTiled);
    Bytes pixels(ReadAll(image).size()), read(pixels.size());
    for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random() >> 7);
    const int64_t row = RowBytes(image, bounds.width);
    Check(Good(PXImageWrite2(image, bounds, pixels.data(), row)), "pixels were not written");
    Check(Good(PXImageRead2(image, bounds, read.data(), row)), "pixels were not read");
    Check(pixels == read, "a pixel was lost");
}

void DoAnyWork(Random& random)
{
    const Work& work = kWorks[random() % std::size(kWorks)];
    Check(work.run(), work.name);
}

class Nothing final : public CBaseTask {
    void Run() override {}
    void TaskComplete() override {}
};

void RunTasks(Random& random)
{
    const auto queue = PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue);
    queue->Initialize(CFSTR("Soak"), 0, 2);
    for (int i = 0; i < 200; ++i) {
        const auto task = PXRef<Nothing>::Adopt(new Nothing);
        task->SetPriority(static_cast<uint32_t>(random()));
        queue->Push(task.Get());
    }
    queue->Stop();
    Check(queue->GetStatistics().completed == 200, "a task was lost");
}

class EchoFactory final : public CBaseConnectionFactory {
public:
    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new CServerConnection(stream);
    }
};

int serverPort;

void TalkToServer(Random& random)
{
    const auto api = PXRef<CBaseServerAPI>::Adopt(new CBaseServerAPI);
    Check(api->OpenStreams(serverPort) == kPXOK && api->Connect(1) == kPXOK, "no connection");
    for (uint64_t i = random() % 20; i > 0; --i) {
        CHTTPMessage request(CFSTR("GET"), CFSTR("nothing"), nullptr);
        CHTTPMessage response(kHTTPMessageResponse);
        Check(api->SendRequest(request, response) == kPXOK, "no answer");
        Check(response.GetResponseCode() == 404, "another answer");
    }
    api->Disconnect();
}

void Run(uint64_t seed)
{
    static constexpr void (*kAll[])(Random&) = {PageImage, DoAnyWork, RunTasks, TalkToServer};
    Random random(seed);
    for (; !isOver; ++rounds) kAll[random() % std::size(kAll)](random);
}

constexpr const char* kNames[] = {"MiB", "handles", "threads"};
using Numbers = std::array<long, std::size(kNames)>;

Numbers Now()
{
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    const auto count = [](const char* folder) {
        const std::filesystem::directory_iterator entries(folder);
        return static_cast<long>(std::distance(begin(entries), end(entries)));
    };
    return {pages * 4 / 1024, count("/proc/self/fd"), count("/proc/self/task")};
}

// Whether a number's highest in the last quarter is above its highest in the first.
bool Grew(const std::vector<Numbers>& looks, size_t number, long slack)
{
    const size_t quarter = looks.size() / 4;
    const auto most = [&](size_t from) {
        long highest = 0;
        for (size_t i = from; i < from + quarter; ++i)
            highest = std::max(highest, looks[i][number]);
        return highest;
    };
    const long first = most(0), last = most(looks.size() - quarter);
    const bool grew = last > first + slack;
    std::printf("%s: %ld, then %ld%s\n", kNames[number], first, last, grew ? ": GREW" : "");
    return grew;
}

}  // namespace

int main(int count, char** arguments)
{
    const double minutes = count > 1 ? std::atof(arguments[1]) : 0;
    if (!(minutes > 0)) {
        std::fprintf(stderr, "usage: soak MINUTES [SEED]\n");
        return 2;
    }
    const uint64_t seed =
        count > 2 ? std::strtoull(arguments[2], nullptr, 10) : std::random_device()();
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    PXAccelerateInit();
    PXImageSetCacheMemAbsolute(kCacheBytes);

    const auto broadcaster = PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    const auto factory = PXRef<EchoFactory>::Adopt(new EchoFactory);
    const auto server = PXRef<CBaseServer>::Adopt(new CBaseServer);
    Check(server->Initialize(broadcaster.Get(), factory.Get(), 1) == kPXOK &&
              server->StartListening(0) == kPXOK,
          "no server");
    serverPort = server->GetPort();

    std::vector<std::thread> workers;
    for (uint64_t i = 0; i < kThreads; ++i) workers.emplace_back(Run, seed + i);
    constexpr int kLooks = 60;
    std::vector<Numbers> looks;
    for (int i = 0; i < kLooks; ++i) {
        std::this_thread::sleep_for(std::chrono::duration<double>(minutes * 60 / kLooks));
        looks.push_back(Now());
        const auto& [resident, handles, threads] = looks.back();
        std::printf("%6ld rounds, %4ld MiB, %3ld handles, %3ld threads\n", rounds.load(), resident,
                    handles, threads);
        std::fflush(stdout);
    }
    isOver = true;
    for (auto& worker : workers) worker.join();
    server->Shutdown();

    constexpr double kWarmMinutes = 10;
    bool grew = minutes >= kWarmMinutes && Grew(looks, 0, looks[kLooks / 4][0] / 10 + 8);
    for (size_t number = 1; number < 3; ++number) grew = Grew(looks, number, 8) || grew;
    return grew ? 1 : 0;
}
