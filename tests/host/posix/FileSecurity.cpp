#include "FileSecurity.h"

#include <sys/stat.h>
#include <unistd.h>

namespace testsupport {

std::string ownerOnlyProblem(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0)
        return "cannot stat " + path;
    if (info.st_uid != geteuid())
        return "not the user's own";
    if ((info.st_mode & 0777) != 0600)
        return "mode " + std::to_string(info.st_mode & 0777);
    return "";
}

bool makeSymlink(const std::string& link, const std::string& target) {
    return symlink(target.c_str(), link.c_str()) == 0;
}

}  // namespace testsupport
