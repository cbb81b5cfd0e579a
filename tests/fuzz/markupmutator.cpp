// Changes inputs tag by tag, half of the time: bytes changed at random seldom leave a document
// that is well-formed enough to reach the readers.

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

// NOLINTBEGIN(readability-identifier-naming): libFuzzer's names
extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize,
                                          unsigned int seed);
// NOLINTEND(readability-identifier-naming)

namespace {

using Pieces = std::vector<std::string>;

/// Splits a document into its tags and the texts between them.
Pieces split(const std::string &document)
{
    Pieces pieces;
    size_t begin = 0;
    for (size_t i = 0; i < document.size(); ++i) {
        const bool endsTag = document[i] == '>';
        const bool beginsTag = i + 1 < document.size() && document[i + 1] == '<';
        if (endsTag || beginsTag) {
            pieces.push_back(document.substr(begin, i + 1 - begin));
            begin = i + 1;
        }
    }
    if (begin < document.size())
        pieces.push_back(document.substr(begin));
    return pieces;
}

void mutate(Pieces *pieces, std::minstd_rand *random)
{
    const auto below = [&](size_t limit) { return (*random)() % limit; };
    const size_t first = below(pieces->size());
    const size_t last = first + 1 + below(std::min<size_t>(8, pieces->size() - first));
    const auto at = [&](size_t index) {
        return pieces->begin() + static_cast<Pieces::difference_type>(index);
    };
    const Pieces range(at(first), at(last));
    switch (below(4)) {
    case 0:
        pieces->erase(at(first), at(last));
        break;
    case 1:
        pieces->insert(at(below(pieces->size())), range.begin(), range.end());
        break;
    case 2:
        std::swap((*pieces)[first], (*pieces)[below(pieces->size())]);
        break;
    default:
        for (size_t times = below(40); times > 0; --times)
            pieces->insert(at(first), range.begin(), range.end());
        break;
    }
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize,
                                          unsigned int seed)
{
    std::minstd_rand random(seed);
    if (size == 0 || random() % 2 == 0)
        return LLVMFuzzerMutate(data, size, maxSize);
    Pieces pieces = split(std::string(data, data + size));
    mutate(&pieces, &random);
    std::string document;
    for (const std::string &piece : pieces)
        document += piece;
    document.resize(std::min(document.size(), maxSize));
    std::copy(document.begin(), document.end(), data);
    return document.size();
}
