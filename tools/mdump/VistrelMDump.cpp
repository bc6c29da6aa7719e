// vistrel-mdump LOG [OUTPUT.dmp]
// Reads a saved log (UTF-8, ANSI or UTF-16), finds each crash dump written into it between
// "MDUMP BEGIN" and "MDUMP END", and writes it as a .dmp file for a debugger. One dump goes
// to OUTPUT (default: the log's name with ".dmp"); several are numbered: name_1.dmp, ...
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "VXDumpText.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

bool readFile(const std::string& path, std::string& content) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    content.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// A UTF-16 log (as saved by some viewers) is read through its low bytes: the dump text is ASCII.
std::string asNarrow(const std::string& raw) {
    const bool bom = raw.size() >= 2 && static_cast<unsigned char>(raw[0]) == 0xFF &&
                     static_cast<unsigned char>(raw[1]) == 0xFE;
    const bool zeros = raw.size() >= 4 && raw[1] == '\0' && raw[3] == '\0';
    if (!bom && !zeros)
        return raw;
    std::string text;
    text.reserve(raw.size() / 2);
    for (size_t i = bom ? 2 : 0; i + 1 < raw.size(); i += 2) {
        text += raw[i + 1] == '\0' ? raw[i] : '?';
    }
    return text;
}

std::string outputName(const std::string& log, const std::string& requested, size_t index, size_t count) {
    std::string base = requested;
    if (base.empty()) {
        const size_t slash = log.find_last_of("/\\");
        const size_t dot = log.find_last_of('.');
        base = (dot != std::string::npos && (slash == std::string::npos || dot > slash)) ? log.substr(0, dot)
                                                                                         : log;
        base += ".dmp";
    }
    if (count == 1)
        return base;
    const size_t dot = base.find_last_of('.');
    const std::string stem = dot != std::string::npos ? base.substr(0, dot) : base;
    const std::string extension = dot != std::string::npos ? base.substr(dot) : std::string();
    return stem + "_" + std::to_string(index + 1) + extension;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: vistrel-mdump LOG [OUTPUT.dmp]\n");
        return kExitUsage;
    }
    const std::string logPath = argv[1];
    const std::string requested = argc == 3 ? argv[2] : "";
    std::string raw;
    if (!readFile(logPath, raw)) {
        std::fprintf(stderr, "vistrel-mdump: cannot read %s\n", logPath.c_str());
        return kExitFailed;
    }
    const std::vector<VXDumpText::Block> blocks = VXDumpText::findBlocks(asNarrow(raw));
    if (blocks.empty()) {
        std::fprintf(stderr, "vistrel-mdump: no \"MDUMP BEGIN\" line in %s\n", logPath.c_str());
        return kExitFailed;
    }
    int status = kExitOk;
    for (size_t i = 0; i < blocks.size(); ++i) {
        std::vector<uint8_t> dump;
        const VXResult result = VXDumpText::decodeBlock(blocks[i], dump);
        if (result.isError()) {
            std::fprintf(stderr, "vistrel-mdump: dump at line %u: %s\n", blocks[i].firstLine,
                         result.message().toUtf8().c_str());
            status = kExitFailed;
            continue;
        }
        const std::string path = outputName(logPath, requested, i, blocks.size());
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(dump.data()), static_cast<std::streamsize>(dump.size()));
        out.close();
        if (!out) {
            std::fprintf(stderr, "vistrel-mdump: cannot write %s\n", path.c_str());
            status = kExitFailed;
            continue;
        }
        std::printf("%s: %u bytes (line %u, %u characters of text)\n", path.c_str(),
                    static_cast<unsigned>(dump.size()), blocks[i].firstLine,
                    static_cast<unsigned>(blocks[i].text.size()));
    }
    return status;
}
