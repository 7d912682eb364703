#include "quillet/platform/defaults.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace kelvor {

std::optional<std::string> userDefaultString(std::string_view key) {
    CFStringRef name = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(key.data()),
                                               static_cast<CFIndex>(key.size()), kCFStringEncodingUTF8, false);
    if (!name) return std::nullopt;
    CFPropertyListRef value = CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication);
    CFRelease(name);
    if (!value) return std::nullopt;
    std::optional<std::string> result;
    if (CFGetTypeID(value) == CFStringGetTypeID()) {
        char buffer[1024];
        if (CFStringGetCString(static_cast<CFStringRef>(value), buffer, sizeof buffer, kCFStringEncodingUTF8))
            result = buffer;
    }
    CFRelease(value);
    return result;
}

std::optional<long long> userDefaultInteger(std::string_view key) {
    CFStringRef name = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(key.data()),
                                               static_cast<CFIndex>(key.size()), kCFStringEncodingUTF8, false);
    if (!name) return std::nullopt;
    Boolean valid = false;
    CFIndex value = CFPreferencesGetAppIntegerValue(name, kCFPreferencesCurrentApplication, &valid);
    CFRelease(name);
    if (!valid) return std::nullopt;
    return static_cast<long long>(value);
}

}  // namespace kelvor
