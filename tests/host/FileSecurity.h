// What the log file tests need of the platform: whether a file is the current user's only, and
// a symbolic link to make.
#pragma once

#include <string>

namespace testsupport {

// "" when only the current user (and, on Windows, SYSTEM) may reach the file and nothing is
// inherited; otherwise what is wrong.
std::string ownerOnlyProblem(const std::string& path);
// A symbolic link at link to target; false when the system cannot make one here, or makes
// one that it does not show as a link.
bool makeSymlink(const std::string& link, const std::string& target);

}  // namespace testsupport
