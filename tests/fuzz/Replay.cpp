// Runs a fuzz target over the files of a corpus, and over a number of mutations of each that is the same every time:
//
//     fuzz-TARGET CORPUS MUTATIONS
//
// Inputs run in a child process. One that ends it, takes longer than a minute or more than a gigabyte is lost; it is
// kept as lost-TARGET-N in the current folder, and a new child goes on behind it. Prints "fuzz TARGET: N tried, N
// survived"; the exit status is 0 when all did.
#include <atomic>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>

#include "FuzzTarget.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr unsigned secondsForOne = 60;
#ifdef SANITIZED
constexpr long largestMemory = 4 << 20;  // KiB; sanitizers keep what was freed
#else
constexpr long largestMemory = 1 << 20;  // KiB
#endif
constexpr int mostLost = 10;  // then something is wrong that more inputs tell nothing about

std::vector<Bytes> readCorpus(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<Bytes> corpus;
    for (const fs::path& file : files) {
        std::ifstream stream(file, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return corpus;
}

/// Changes `bytes` in one to eight ways.
void mutate(Bytes& bytes, const std::vector<Bytes>& corpus, std::mt19937& random) {
    const auto below = [&](std::size_t end) { return end == 0 ? 0 : random() % end; };
    const auto from = [&](std::size_t index) { return bytes.begin() + static_cast<std::ptrdiff_t>(index); };
    for (std::size_t change = 0, changes = 1 + below(8); change < changes; ++change) {
        if (bytes.empty()) bytes.assign(1 + below(64), static_cast<std::uint8_t>(random()));
        const std::size_t at = below(bytes.size()), count = 1 + below(std::min<std::size_t>(bytes.size() - at, 64));
        switch (below(7)) {
            case 0:
                bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ (1u << below(8)));
                break;
            case 1:
                for (std::size_t i = 0; i < std::min<std::size_t>(count, 4); ++i) {
                    bytes[at + i] = static_cast<std::uint8_t>(random());
                }
                break;
            case 2: {  // a number at the edge of what a field can hold
                constexpr std::uint8_t edges[] = {0, 1, 0x7F, 0x80, 0xFF};
                std::fill_n(from(at), std::min<std::size_t>(count, 4), edges[below(5)]);
                break;
            }
            case 3:
                bytes.erase(from(at), from(at + count));
                break;
            case 4: {
                const Bytes copy(from(at), from(at + count));
                bytes.insert(from(below(bytes.size())), copy.begin(), copy.end());
                break;
            }
            case 5: {  // a piece of another file
                const Bytes& other = corpus[below(corpus.size())];
                const std::size_t start = below(other.size());
                const std::size_t length = std::min({other.size() - start, bytes.size() - at, 1 + below(256)});
                std::copy_n(other.begin() + static_cast<std::ptrdiff_t>(start), length, from(at));
                break;
            }
            default:
                if (below(4) == 0) bytes.resize(at);  // a file that ends early
        }
    }
}

/// Runs the inputs from `next` on and counts it up before each.
void runInputs(std::atomic<int>& next, int end, const std::function<Bytes(int)>& input) {
    while (next < end) {
        const Bytes bytes = input(next);
        alarm(secondsForOne);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        ondrix::test::require(usage.ru_maxrss <= largestMemory, "more than a gigabyte of memory");
        ++next;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: fuzz-TARGET CORPUS MUTATIONS\n";
        return 2;
    }
    const std::string target = fs::path(argv[0]).filename().string().substr(std::strlen("fuzz-"));
    const std::vector<Bytes> corpus = readCorpus(argv[1]);
    const int forms = 1 + std::stoi(argv[2]), inputs = static_cast<int>(corpus.size()) * forms;
    const auto input = [&](int number) {
        Bytes bytes = corpus[static_cast<std::size_t>(number / forms)];
        std::mt19937 random(static_cast<unsigned>(number));
        if (number % forms != 0) mutate(bytes, corpus, random);
        return bytes;
    };
    if (inputs == 0) {
        std::cerr << "the corpus '" << argv[1] << "' is empty\n";
        return 2;
    }
    void* const shared =
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& next = *new (shared) std::atomic<int>(0);
    int lost = 0;
    while (next < inputs && lost < mostLost) {
        const pid_t child = fork();
        if (child == 0) {
            runInputs(next, inputs, input);
            std::exit(0);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child) {
            std::cerr << "no child process\n";
            return 2;
        }
        if (status == 0) continue;
        ++lost;
        const int culprit = std::min<int>(next++, inputs - 1);
        const std::string file = "lost-" + target + "-" + std::to_string(culprit);
        const Bytes bytes = input(culprit);
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        std::cout << "lost: input " << culprit << ", kept as " << fs::absolute(file).string() << '\n';
    }
    std::cout << "fuzz " << target << ": " << next << " tried, " << next - lost << " survived\n";
    return lost == 0 && next == inputs ? 0 : 1;
}
