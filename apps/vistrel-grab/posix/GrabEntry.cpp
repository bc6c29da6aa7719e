// vistrel-grab's Linux entry point: the arguments as UTF-8, as a terminal passes them.
#include <vector>

#include "GrabMain.h"

int main(int argc, char** argv) {
    std::vector<VXString> args;
    for (int i = 1; i < argc; ++i)
        args.push_back(VXString::fromUtf8(argv[i]));
    return grabMain(args);
}
