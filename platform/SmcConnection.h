#pragma once

#include "platform/SmcParamRecord.h"

#include <functional>
#include <memory>

namespace velmox {

// An open connection to the System Management Controller's user client. macOS: the
// AppleSMC (or VirtualSMC/FakeSMC) service opened with connection type 0; Linux: the
// applesmc driver's sysfs keys (AppleSmcSysfs). Closing happens on destruction.
class SmcConnection {
public:
    virtual ~SmcConnection() = default;
    // The structure-method call with selector 2: an 80-byte input record, an 80-byte
    // output record. Returns the method's status; 0 is success (the caller still checks
    // the output's result byte).
    virtual int callStructMethod(const SmcParamRecord::Bytes& input,
                                 SmcParamRecord::Bytes& output) = 0;
};

// Opens a fresh connection, or returns null when the machine has no SMC (or refuses it).
using SmcConnectionOpener = std::function<std::unique_ptr<SmcConnection>()>;

} // namespace velmox

namespace velmox {

// This platform's SMC: the opener returns null when the machine has none.
SmcConnectionOpener systemSmcConnectionOpener();

} // namespace velmox
