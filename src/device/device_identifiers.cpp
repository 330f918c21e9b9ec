#include "device/device_identifiers.h"

NPT_String MakeUuid(const std::function<NPT_UInt32()>& draw) {
    constexpr NPT_UInt32 kDigits = 32;
    constexpr NPT_UInt32 kTextLength = 36;
    NPT_String uuid;
    uuid.Reserve(kTextLength);
    for (NPT_UInt32 digit = 1; digit <= kDigits; ++digit) {
        uuid += "0123456789abcdef"[draw() & 15];
        if (digit == 8 || digit == 12 || digit == 16 || digit == 20) uuid += '-';
    }
    return uuid;
}

NPT_UInt32 MakeConfigId(NPT_UInt32 random, NPT_UInt32 current) {
    const NPT_UInt32 next = random & 0xFFFFFF;
    if (next != current) return next;
    return next != 0 ? next - 1 : 1;
}

NPT_UInt32 MakeBootId(NPT_TimeStamp now, NPT_UInt32 current) {
    const NPT_UInt32 next = static_cast<NPT_UInt32>(now.ToSeconds());
    return next != current ? next : next + 1;
}
