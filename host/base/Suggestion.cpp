#include "host/base/Suggestion.h"

#include "host/base/Text.h"

#include <algorithm>
#include <numeric>

namespace host
{

namespace
{

constexpr size_t kMostSuggestions = 3;

// Longer words are no typing errors, and would take long to compare.
constexpr size_t kLongestWord = 64;

// The letters to be put in, left out or replaced, and the neighbours to be swapped (optimal string alignment).
size_t Distance(std::string_view a, std::string_view b)
{
    std::vector<size_t> before, above(b.size() + 1), row(b.size() + 1);
    std::iota(above.begin(), above.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = above;
        above = row;
    }
    return above.back();
}

// The nearest ones' suggestions, each once.
std::vector<std::string> Nearest(const std::string& word, const std::vector<Known>& known)
{
    std::vector<std::string> nearest;
    size_t least = std::max<size_t>(word.size() / 3, 1);
    for (const Known& candidate : known) {
        const std::string folded = Folded(candidate.word);
        if (folded.empty() || folded.size() > kLongestWord)
            continue;
        const size_t distance = Distance(word, folded);
        if (distance > least || distance >= std::min(word.size(), folded.size()))
            continue;
        if (distance < least)
            nearest.clear();
        least = distance;
        if (std::find(nearest.begin(), nearest.end(), candidate.suggestion) == nearest.end())
            nearest.push_back(candidate.suggestion);
    }
    nearest.resize(std::min(nearest.size(), kMostSuggestions));
    return nearest;
}

} // namespace

std::string DidYouMean(std::string_view word, const std::vector<Known>& known)
{
    const std::string folded = Folded(word);
    if (folded.size() > kLongestWord)
        return {};
    const std::vector<std::string> nearest = Nearest(folded, known);
    std::string text;
    for (size_t i = 0; i < nearest.size(); ++i)
        text += (i == 0 ? "did you mean " : i + 1 < nearest.size() ? ", " : " or ") + nearest[i];
    return text.empty() ? text : text + "?";
}

} // namespace host
