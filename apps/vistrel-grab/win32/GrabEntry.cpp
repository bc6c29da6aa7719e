// vistrel-grab's Windows entry point: the arguments as UTF-16, as the system gives them.
#include <vector>

#include "GrabMain.h"

int wmain(int argc, wchar_t** argv) {
    std::vector<VXString> args;
    for (int i = 1; i < argc; ++i)
        args.push_back(VXString::fromWide(argv[i]));
    return grabMain(args);
}
