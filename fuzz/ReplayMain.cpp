// Runs a target over the files of folders, where libFuzzer isn't there to do it: every input once, as a plain test.
#include "fuzz/FuzzInput.h"

#include <filesystem>
#include <fstream>
#include <vector>

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        if (*argv[i] == '-') // an option of libFuzzer's
            continue;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout); // before it may end the program
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
