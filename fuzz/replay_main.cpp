// Replays inputs through the fuzz target without libFuzzer, so that any compiler
// (and the sanitizer build) can run a saved corpus or a crash reproducer. Each
// argument is a file, or a directory whose regular files are replayed in name order.
// Exits non-zero if an input cannot be read; a failing input aborts in the target.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool Replay(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::cerr << path.string() << ": cannot read\n";
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  std::cout << path.string() << " (" << bytes.size() << " bytes)" << std::endl;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: " << argv[0] << " FILE_OR_DIRECTORY...\n";
    return 2;
  }
  bool ok = true;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path argument(argv[i]);
    std::error_code error;
    if (!std::filesystem::is_directory(argument, error)) {
      ok = Replay(argument) && ok;
      continue;
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argument, error)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
    if (error) {
      std::cerr << argument.string() << ": cannot list: " << error.message() << "\n";
      ok = false;
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files)
      ok = Replay(file) && ok;
  }
  return ok ? 0 : 1;
}
