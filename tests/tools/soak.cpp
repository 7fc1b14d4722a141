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
    const auto row = static_cast<size_t>(bounds.width) * 4;
    std::vector<uint8_t> line(row);
    const auto value = static_cast<uint8_t>(random());
    for (int32_t y = 0; y < bounds.height; ++y) {
        std::fill(line.begin(), line.end(), static_cast<uint8_t>(value + y));
        Check(PXImageWrite2(image, {0, y, bounds.width, 1}, line.data(),
                            static_cast<int64_t>(row)) == kPXOK,
              "a row was not written");
    }
    for (int32_t y = 0; y < bounds.height; y += 97) {
        Check(PXImageRead2(image, {0, y, bounds.width, 1}, line.data(),
                           static_cast<int64_t>(row)) == kPXOK,
              "a row was not read");
        Check(std::ranges::all_of(
                  line, [&](uint8_t byte) { return byte == static_cast<uint8_t>(value + y); }),
              "a pixel was lost");
    }
}

void DoAnyWork(Random& random)
{
    const Work& work = kWorks[random() % std::size(kWorks)];
    Check(work.run(), work.name);
}

class Signal final : public CBaseTask {
public:
    std::future<void> Done() { return done_.get_future(); }
    void Run() override {}
    void TaskComplete() override { done_.set_value(); }

private:
    std::promise<void> done_;
};

void RunTasks(Random& random)
{
    const auto queue = PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue);
    queue->Initialize(CFSTR("Soak"), 0, 2);
    std::vector<std::future<void>> done;
    for (int i = 0; i < 200; ++i) {
        const auto task = PXRef<Signal>::Adopt(new Signal);
        task->SetPriority(static_cast<uint32_t>(random()));
        done.push_back(task->Done());
        queue->Push(task.Get());
    }
    for (auto& one : done) one.wait();
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
    const auto most = [&](auto from) {
        const auto end = from + static_cast<long>(looks.size() / 4);
        return std::max_element(
                   from, end,
                   [=](const Numbers& a, const Numbers& b) { return a[number] < b[number]; })
            ->at(number);
    };
    const long first = most(looks.begin());
    const long last = most(looks.end() - static_cast<long>(looks.size() / 4));
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
