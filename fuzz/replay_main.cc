// Runs a fuzzer's entry point without the fuzzing engine: over every file of
// the given corpus folders, and over a fixed number of mutations of each,
// drawn from a seeded generator so that a run repeats exactly. The
// sanitizer build of the test suites runs every fuzzer this way, a short
// fuzz run that needs no clang; `make fuzz` does the real thing.
//
//   replay [--mutations N] [--seed S] FOLDER...
#include <fcntl.h>
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

using Bytes = std::vector<uint8_t>;

// The input being run, written to ./replay-failure when the run dies (a
// sanitizer's report or an abort), so that it can be given to the fuzzer.
const Bytes* current = nullptr;

void KeepFailure() {
  if (!current) return;
  const int fd = ::open("replay-failure", O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return;
  if (::write(fd, current->data(), current->size()) < 0) {
  }
  ::close(fd);
  static const char kSaid[] = "replay: the failing input is in ./replay-failure\n";
  if (::write(2, kSaid, sizeof kSaid - 1) < 0) {
  }
}

extern "C" void OnAbort(int) {
  KeepFailure();
  std::signal(SIGABRT, SIG_DFL);
  std::raise(SIGABRT);
}

Bytes ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// One to four edits of the kinds that find faults in readers: bits flipped,
// bytes set to boundary values, cuts, repeated and inserted stretches, and
// pieces of another input spliced in.
Bytes Mutate(Bytes b, const std::vector<Bytes>& corpus, std::mt19937_64& rng) {
  auto below = [&rng](size_t n) { return n == 0 ? size_t{0} : size_t(rng() % n); };
  static const uint8_t kBoundary[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0x0A, 0x0D, 0x3D, 0x3B};
  const int edits = 1 + int(below(4));
  for (int e = 0; e < edits; ++e) {
    switch (below(7)) {
      case 0:
        if (!b.empty()) b[below(b.size())] ^= uint8_t(1u << below(8));
        break;
      case 1:
        if (!b.empty()) b[below(b.size())] = kBoundary[below(std::size(kBoundary))];
        break;
      case 2:
        b.resize(below(b.size() + 1));
        break;
      case 3: {  // a stretch repeated in place
        if (b.empty()) break;
        const size_t from = below(b.size()), len = 1 + below(std::min<size_t>(64, b.size() - from));
        const Bytes piece(b.begin() + from, b.begin() + from + len);
        b.insert(b.begin() + from, piece.begin(), piece.end());
        break;
      }
      case 4: {  // random bytes inserted
        const size_t at = below(b.size() + 1), len = 1 + below(16);
        Bytes piece(len);
        for (auto& c : piece)
          c = uint8_t(rng());
        b.insert(b.begin() + at, piece.begin(), piece.end());
        break;
      }
      case 5: {  // a stretch removed
        if (b.empty()) break;
        const size_t from = below(b.size()), len = 1 + below(b.size() - from);
        b.erase(b.begin() + from, b.begin() + from + len);
        break;
      }
      default: {  // the tail of another input after the head of this one
        const Bytes& other = corpus[below(corpus.size())];
        b.resize(below(b.size() + 1));
        b.insert(b.end(), other.begin() + below(other.size() + 1), other.end());
        break;
      }
    }
  }
  return b;
}

int Usage() {
  std::fprintf(stderr, "usage: replay [--mutations N] [--seed S] FOLDER...\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  long mutations = 200;
  uint64_t seed = 1;
  std::vector<std::filesystem::path> folders;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if ((arg == "--mutations" || arg == "--seed") && i + 1 < argc) {
      const unsigned long long v = std::strtoull(argv[++i], nullptr, 10);
      if (arg == "--mutations")
        mutations = long(v);
      else
        seed = v;
    } else if (arg.starts_with("--")) {
      return Usage();
    } else {
      folders.emplace_back(arg);
    }
  }
  if (folders.empty()) return Usage();

  std::vector<std::filesystem::path> files;
  for (const auto& folder : folders) {
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
      if (entry.is_regular_file()) files.push_back(entry.path());
    if (ec) {
      std::fprintf(stderr, "replay: cannot read %s: %s\n", folder.c_str(), ec.message().c_str());
      return 2;
    }
  }
  std::sort(files.begin(), files.end());  // the same order on every run
  if (files.empty()) {
    std::fprintf(stderr, "replay: no inputs\n");
    return 2;
  }
  std::vector<Bytes> corpus;
  for (const auto& f : files)
    corpus.push_back(ReadAll(f));

  if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
  __sanitizer_set_death_callback(KeepFailure);
  std::signal(SIGABRT, OnAbort);
  std::mt19937_64 rng(seed);
  long runs = 0;
  for (const Bytes& input : corpus) {
    current = &input;
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++runs;
    for (long m = 0; m < mutations; ++m, ++runs) {
      const Bytes mutated = Mutate(input, corpus, rng);
      current = &mutated;
      LLVMFuzzerTestOneInput(mutated.data(), mutated.size());
    }
  }
  current = nullptr;
  std::printf("replay: %zu inputs, %ld runs, seed %llu\n", corpus.size(), runs,
              static_cast<unsigned long long>(seed));
  return 0;
}
