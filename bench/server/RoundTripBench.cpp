// One unit-test-mode request to the real Linux server at 1920 x 1080 (request records, start
// event, the server's answer with its 8 MB image record, completion event), set against the
// least work any such exchange does: a partner process that copies one prepared record into the
// image block between the same two wake-ups through the same events. Target: at most 1.2 x.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "SerializeUtils.h"
#include "ServerProcess.h"
#include "VistrelExchange.h"
#include "VistrelSharedObjects.h"
#include "support/TestParams.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;
constexpr uint32_t kAnswerMs = 10000;
constexpr uint32_t kPartnerIdleMs = 2000;

struct Exchange {
    std::shared_ptr<Vistrel::Params> params;
    std::shared_ptr<Vistrel::SharedObjects> objects;

    bool open() {
        params = testParams(VXRect(0, 0, kWidth, kHeight));
        return params &&
               Vistrel::SharedObjects::create(*params, objects, VXSharedMapping::Open::eCreateExclusive)
                   .isSuccess();
    }
    // What a host does per request; false when no answer came.
    bool request() const {
        SerializeUtils::writeWindowList(objects->shMemExclWnds->view, Vistrel::kExclWndsBlockSize, {});
        SerializeUtils::writeBool(objects->shMemCaptureCursor->view, false);
        objects->eventStart->set();
        return objects->eventCompleted->wait(kAnswerMs).isSuccess();
    }
};

void BM_ServerRoundTrip1080p(benchmark::State& state) {
    Exchange exchange;
    if (!exchange.open()) {
        state.SkipWithError("objects");
        return;
    }
    testsupport::ServerProcess server(
        testsupport::serverArgs(0, 0, kWidth, kHeight, exchange.params->guid.toUtf8(), true),
        {"VISTREL_HOST_PID=" + std::to_string(getpid())}, "/dev/null");
    if (server.pid() == 0 || !exchange.request()) {
        state.SkipWithError("server");
        return;
    }
    for (auto _ : state) {
        if (!exchange.request()) {
            state.SkipWithError("no answer");
            break;
        }
    }
    // The request loop ends on a list it cannot read.
    SerializeUtils::writeUInt64(exchange.objects->shMemExclWnds->view, 5000);
    exchange.objects->eventStart->set();
    server.waitEnd(static_cast<int>(kAnswerMs));
}
BENCHMARK(BM_ServerRoundTrip1080p)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(3.0);

void BM_LeastWork1080p(benchmark::State& state) {
    Exchange exchange;
    if (!exchange.open()) {
        state.SkipWithError("objects");
        return;
    }
    const size_t record = SerializeUtils::kImageHeaderSize + size_t{kWidth} * kHeight * 4;
    const pid_t partner = fork();
    if (partner == 0) {
        std::vector<uint8_t> prepared(record, 0);
        const Vistrel::SharedObjects& objects = *exchange.objects;
        while (objects.eventStart->wait(kPartnerIdleMs).isSuccess()) {
            std::memcpy(objects.shMemImage->view, prepared.data(), prepared.size());
            objects.eventCompleted->set();
        }
        _exit(0);
    }
    for (auto _ : state) {
        if (!exchange.request()) {
            state.SkipWithError("no answer");
            break;
        }
    }
    kill(partner, SIGKILL);
    waitpid(partner, nullptr, 0);
}
BENCHMARK(BM_LeastWork1080p)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(3.0);

}  // namespace
