// Plays the host against the test: joins the objects of an identifier by name, waits for the
// start event, answers the bytes of the list block reversed in the result block, marks the
// last byte of the image block and sets the completion event.
//   vx_objects_peer <guid> <left> <top> <right> <bottom>
#include <cstdlib>

#include "ObjectsTestParams.h"
#include "VistrelSharedObjects.h"

namespace {

constexpr int kOk = 0;
constexpr int kUsage = 1;
constexpr int kNotCreated = 10;
constexpr int kNotJoined = 11;
constexpr int kNoStart = 12;
constexpr uint32_t kStartTimeoutMs = 15000;
constexpr uint32_t kEchoBytes = 16;
constexpr uint8_t kImageMark = 0x5A;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6)
        return kUsage;
    const VXRect rect(std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]));
    const std::shared_ptr<Vistrel::Params> params = paramsFor(rect, VXString::fromUtf8(argv[1]));
    std::shared_ptr<Vistrel::SharedObjects> objects;
    if (!params || Vistrel::SharedObjects::create(*params, objects).isError())
        return kNotCreated;
    if (objects->eventStart->creationCode() != VXError::eExists)
        return kNotJoined;
    if (objects->eventStart->wait(kStartTimeoutMs).isError())
        return kNoStart;
    for (uint32_t i = 0; i < kEchoBytes; ++i)
        objects->shMemResult->view[i] = objects->shMemExclWnds->view[kEchoBytes - 1 - i];
    objects->shMemImage->view[Vistrel::imageBlockSize(rect) - 1] = kImageMark;
    return objects->eventCompleted->set().isSuccess() ? kOk : kNoStart;
}
