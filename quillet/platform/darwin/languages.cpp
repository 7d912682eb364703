#include "quillet/platform/languages.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace kelvor {

std::vector<std::string> preferredLanguages() {
    std::vector<std::string> result;
    CFArrayRef languages = CFLocaleCopyPreferredLanguages();
    if (!languages) return result;
    for (CFIndex i = 0; i < CFArrayGetCount(languages); ++i) {
        auto code = static_cast<CFStringRef>(CFArrayGetValueAtIndex(languages, i));
        char buffer[64];
        if (CFStringGetCString(code, buffer, sizeof buffer, kCFStringEncodingUTF8)) result.push_back(buffer);
    }
    CFRelease(languages);
    return result;
}

}  // namespace kelvor
