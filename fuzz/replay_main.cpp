// Runs a fuzz entry on every file named on the command line or found in a
// named folder, once each, for builds without the fuzzing engine: CTest
// replays the seed corpora this way. Exit 1 when a path cannot be read.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in && !in.eof()) return false;
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    size_t files = 0;
    bool ok = argc > 1;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        // A path that is no directory (or none at all) is a file to replay,
        // which fails when it cannot be read.
        if (std::filesystem::is_directory(argv[i], error)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i], error))
                if (entry.is_regular_file()) ok = replay(entry.path()) && ok, ++files;
            if (error) ok = false;
        } else {
            ok = replay(argv[i]) && ok, ++files;
        }
    }
    std::printf("replayed %zu inputs\n", files);
    return ok ? 0 : 1;
}
