// Runs a libFuzzer-style target without libFuzzer: seeded random inputs of varying length,
// then mutations of the ones before, so a plain (sanitizer) build exercises the target.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "VXLog.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    VXLog::setTargets({});  // the targets' refusals are logged; thousands of lines help nobody
    const long runs = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 10000;
    std::mt19937 random(0x5EEDu);
    std::vector<std::vector<uint8_t>> pool;
    for (long i = 0; i < runs; ++i) {
        std::vector<uint8_t> input;
        if (!pool.empty() && random() % 2 == 0) {
            input = pool[random() % pool.size()];
            const size_t edits = 1 + random() % 8;
            for (size_t e = 0; e < edits && !input.empty(); ++e) {
                const size_t at = random() % input.size();
                switch (random() % 4) {
                    case 0:
                        input[at] = static_cast<uint8_t>(random());
                        break;
                    case 1:
                        input.insert(input.begin() + static_cast<long>(at), static_cast<uint8_t>(random()));
                        break;
                    case 2:
                        input.erase(input.begin() + static_cast<long>(at));
                        break;
                    default:
                        input[at] ^= static_cast<uint8_t>(1u << (random() % 8));
                        break;
                }
            }
        } else {
            input.resize(random() % 512);
            for (uint8_t& b : input)
                b = static_cast<uint8_t>(random());
        }
        LLVMFuzzerTestOneInput(input.data(), input.size());
        if (pool.size() < 256)
            pool.push_back(std::move(input));
    }
    std::printf("%ld inputs, no failure\n", runs);
    return 0;
}
