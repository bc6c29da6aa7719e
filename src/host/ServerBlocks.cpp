#include "ServerBlocks.h"

namespace Vistrel {

uint8_t* blockView(const SharedObjects& objects, ServerInstance::Block block) {
    switch (block) {
        case ServerInstance::Block::eExclWnds:
            return objects.shMemExclWnds->view;
        case ServerInstance::Block::eCaptureCursor:
            return objects.shMemCaptureCursor->view;
        case ServerInstance::Block::eImage:
            return objects.shMemImage->view;
        case ServerInstance::Block::eWaitResult:
            return objects.shMemWaitResult->view;
        case ServerInstance::Block::eResult:
            return objects.shMemResult->view;
    }
    return nullptr;
}

}  // namespace Vistrel
