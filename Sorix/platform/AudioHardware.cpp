#include "AudioHardware.h"

namespace sorix {

uint32_t propertyDataSize(const PropertyValue& value) {
    struct Size {
        uint32_t operator()(uint32_t) const { return 4; }
        uint32_t operator()(int32_t) const { return 4; }
        uint32_t operator()(float) const { return 4; }
        uint32_t operator()(double) const { return 8; }
        uint32_t operator()(const std::string&) const { return 8; }
        uint32_t operator()(const std::vector<AudioObjectID>& ids) const {
            return static_cast<uint32_t>(ids.size() * sizeof(AudioObjectID));
        }
        uint32_t operator()(const AudioStreamBasicDescription&) const { return 40; }
    };
    return std::visit(Size{}, value);
}

OSStatus AudioHardware::getPropertyDataSize(AudioObjectID object,
                                            const AudioObjectPropertyAddress& address,
                                            const PropertyQualifier& qualifier,
                                            uint32_t& size) const {
    PropertyValue value;
    const OSStatus status = getPropertyData(object, address, qualifier, value);
    if (status == kAudioHardwareNoError) size = propertyDataSize(value);
    return status;
}

bool AudioHardware::hasProperty(AudioObjectID object,
                                const AudioObjectPropertyAddress& address) const {
    PropertyValue value;
    return getPropertyData(object, address, {}, value) == kAudioHardwareNoError;
}

std::string fourCharCodeString(uint32_t code) {
    std::string text(4, ' ');
    for (int i = 0; i < 4; ++i)
        text[static_cast<std::size_t>(i)] = static_cast<char>((code >> (24 - 8 * i)) & 0xff);
    return text;
}

}  // namespace sorix
