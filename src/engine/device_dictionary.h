#ifndef VIREON_ENGINE_DEVICE_DICTIONARY_H
#define VIREON_ENGINE_DEVICE_DICTIONARY_H

#include "binding/interpreter/script_object.h"
#include "device/zo_ssdp_device_info.h"

// The dictionary that a script receives for a device: 15 properties, unicode keys, byte-string
// values. Null with the interpreter's error set when memory runs out.
ScriptObject BuildDeviceDictionary(ZoSsdpDeviceInfo& device) REQUIRES(interpreter_lock);

#endif
