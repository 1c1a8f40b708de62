#include "HVKPlatform/darwin/PropertyValue.h"

#include <vector>

namespace hvk {

namespace {

Value valueOfNumber(CFNumberRef number) {
    if (CFNumberIsFloatType(number)) {
        double real = 0;
        CFNumberGetValue(number, kCFNumberDoubleType, &real);
        return real;
    }
    std::int64_t whole = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &whole);
    return whole;
}

Value valueOfData(CFDataRef data) {
    const UInt8* bytes = CFDataGetBytePtr(data);
    return Value::binary(std::vector<std::uint8_t>(bytes, bytes + CFDataGetLength(data)));
}

Value valueOfList(const std::vector<const void*>& items) {
    Value list = Value::array();
    for (const void* item : items) list.push_back(valueOfProperty(item));
    return list;
}

Value valueOfArray(CFArrayRef array) {
    std::vector<const void*> items(static_cast<std::size_t>(CFArrayGetCount(array)));
    CFArrayGetValues(array, CFRangeMake(0, CFArrayGetCount(array)), items.data());
    return valueOfList(items);
}

Value valueOfSet(CFSetRef set) {
    std::vector<const void*> items(static_cast<std::size_t>(CFSetGetCount(set)));
    CFSetGetValues(set, items.data());
    return valueOfList(items);
}

Value valueOfDictionary(CFDictionaryRef dictionary) {
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> items(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), items.data());
    Value value = Value::object();
    for (std::size_t i = 0; i < count; ++i) {
        if (CFGetTypeID(keys[i]) != CFStringGetTypeID()) continue;
        value[textOfString(static_cast<CFStringRef>(keys[i]))] = valueOfProperty(items[i]);
    }
    return value;
}

CFOwned<CFTypeRef> propertyOfList(const Value& value) {
    CFOwned<CFMutableArrayRef> array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const Value& item : value) {
        const auto property = propertyOfValue(item);
        if (!property) return CFOwned<CFTypeRef>();
        CFArrayAppendValue(array.get(), property.get());
    }
    return CFOwned<CFTypeRef>(array.take());
}

CFOwned<CFTypeRef> propertyOfDictionary(const Value& value) {
    CFOwned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, item] : value.items()) {
        const auto name = stringOfText(key);
        const auto property = propertyOfValue(item);
        if (!name || !property) return CFOwned<CFTypeRef>();
        CFDictionarySetValue(dictionary.get(), name.get(), property.get());
    }
    return CFOwned<CFTypeRef>(dictionary.take());
}

CFOwned<CFTypeRef> propertyOfNumber(const Value& value) {
    if (value.is_number_float()) {
        const auto real = value.get<double>();
        return CFOwned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &real));
    }
    const auto whole = value.get<std::int64_t>();
    return CFOwned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &whole));
}

}  // namespace

Value valueOfProperty(CFTypeRef property) {
    if (property == nullptr) return nullptr;
    const CFTypeID type = CFGetTypeID(property);
    if (type == CFStringGetTypeID()) return textOfString(static_cast<CFStringRef>(property));
    if (type == CFNumberGetTypeID()) return valueOfNumber(static_cast<CFNumberRef>(property));
    if (type == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(property)) != 0;
    if (type == CFDataGetTypeID()) return valueOfData(static_cast<CFDataRef>(property));
    if (type == CFDictionaryGetTypeID()) return valueOfDictionary(static_cast<CFDictionaryRef>(property));
    if (type == CFArrayGetTypeID()) return valueOfArray(static_cast<CFArrayRef>(property));
    if (type == CFSetGetTypeID()) return valueOfSet(static_cast<CFSetRef>(property));
    if (type == CFDateGetTypeID())
        return CFDateGetAbsoluteTime(static_cast<CFDateRef>(property)) + kCFAbsoluteTimeIntervalSince1970;
    return nullptr;
}

std::string textOfString(CFStringRef string) {
    const CFRange whole = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string text(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false, reinterpret_cast<UInt8*>(text.data()), size,
                     nullptr);
    return text;
}

CFOwned<CFTypeRef> propertyOfValue(const Value& value) {
    switch (value.type()) {
        case Value::value_t::object: return propertyOfDictionary(value);
        case Value::value_t::array: return propertyOfList(value);
        case Value::value_t::string:
            return CFOwned<CFTypeRef>(stringOfText(value.get_ref<const std::string&>()).take());
        case Value::value_t::boolean:
            return CFOwned<CFTypeRef>(CFRetain(value.get<bool>() ? kCFBooleanTrue : kCFBooleanFalse));
        case Value::value_t::number_integer:
        case Value::value_t::number_unsigned:
        case Value::value_t::number_float: return propertyOfNumber(value);
        case Value::value_t::binary: {
            const auto& bytes = value.get_binary();
            return CFOwned<CFTypeRef>(
                CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
        }
        case Value::value_t::null:
        case Value::value_t::discarded: break;
    }
    return CFOwned<CFTypeRef>(CFRetain(kCFNull));
}

CFOwned<CFStringRef> stringOfText(const std::string& text) {
    return CFOwned<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

}  // namespace hvk
