#include "apps/common/Suggestion.h"

#include "framework/texts/EditDistance.h"

std::wstring NearestWord(const std::wstring& given, const std::vector<std::wstring>& words)
{
    std::wstring nearest;
    std::size_t least = (given.size() + 2) / 3 + 1;
    for (const std::wstring& word : words) {
        if (const std::size_t distance = EditDistance(given, word); distance < least) {
            least = distance;
            nearest = word;
        }
    }
    return nearest;
}
