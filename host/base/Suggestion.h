// What may have been meant by a word that nobody knows.
#ifndef ENCMGR_HOST_SUGGESTION_H
#define ENCMGR_HOST_SUGGESTION_H

#include <string>
#include <string_view>
#include <vector>

namespace host
{

// A word that would have been known, and what to suggest for it.
struct Known {
    std::string word;
    std::string suggestion;
};

// "did you mean near or linear?" of the words nearest to it, three at most; empty if none is near. Case and all but
// letters and digits don't count.
std::string DidYouMean(std::string_view word, const std::vector<Known>& known);

} // namespace host

#endif // ENCMGR_HOST_SUGGESTION_H
