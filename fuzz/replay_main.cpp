#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Gives every file of a corpus to the fuzz target once: what a fuzzer has found stays found, on
// every platform and under every sanitizer. An empty corpus is a failure, since it proves nothing.
int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: replay_<target> <corpus folder>\n", stderr);
    return 2;
  }
  std::size_t replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", entry.path().string().c_str());
      return 1;
    }
    // Told beforehand, so that the last line names the input that brought the program down.
    std::printf("%s\n", entry.path().filename().string().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++replayed;
  }
  std::printf("replayed %zu inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
