#include "quillet/platform/defaults.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace kelvor {

namespace {

CFPropertyListRef copyValue(std::string_view key) {
    CFStringRef name = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(key.data()),
                                               static_cast<CFIndex>(key.size()), kCFStringEncodingUTF8, false);
    if (!name) return nullptr;
    CFPropertyListRef value = CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication);
    CFRelease(name);
    return value;
}

}  // namespace

std::optional<std::string> userDefaultString(std::string_view key) {
    CFPropertyListRef value = copyValue(key);
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

std::optional<std::int64_t> userDefaultInteger(std::string_view key) {
    CFPropertyListRef value = copyValue(key);
    if (!value) return std::nullopt;
    std::optional<std::int64_t> result;
    if (CFGetTypeID(value) == CFNumberGetTypeID() && !CFNumberIsFloatType(static_cast<CFNumberRef>(value))) {
        std::int64_t number = 0;
        if (CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) result = number;
    }
    CFRelease(value);
    return result;
}

std::optional<bool> userDefaultBool(std::string_view key) {
    CFPropertyListRef value = copyValue(key);
    if (!value) return std::nullopt;
    std::optional<bool> result;
    if (CFGetTypeID(value) == CFBooleanGetTypeID()) result = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
    CFRelease(value);
    return result;
}

}  // namespace kelvor
