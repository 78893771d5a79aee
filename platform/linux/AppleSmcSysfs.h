#pragma once

#include "platform/SmcConnection.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <vector>

namespace velmox {

// The SMC of an Intel Mac running Linux, through the applesmc driver's sysfs keys:
// "key_count", and "key_at_index" (write an index to select a key) with the selected
// key's "key_at_index_name", "key_at_index_type", "key_at_index_data_length" and
// "key_at_index_data" (raw bytes). The driver's three commands are answered from them:
// key information and key reads look the key up by name, key-by-index selects the index.
// Names are read once per connection; an index that cannot be selected or named (the SMC
// was busy) is tried again at the next look-up that misses. Selecting needs root.
class AppleSmcSysfs final : public SmcConnection {
public:
    // How the attributes are reached; a folder of files in production.
    class Attributes {
    public:
        virtual ~Attributes() = default;
        virtual std::optional<QByteArray> read(const QString& name) = 0;
        virtual bool write(const QString& name, const QByteArray& value) = 0;
    };

    static constexpr const char* defaultFolder = "/sys/devices/platform/applesmc.768";

    explicit AppleSmcSysfs(std::unique_ptr<Attributes> attributes);
    // Null when the folder has no readable key count or the index cannot be selected.
    static std::unique_ptr<AppleSmcSysfs> open(const QString& folder = defaultFolder);
    static std::unique_ptr<Attributes> folderAttributes(const QString& folder);

    int callStructMethod(const SmcParamRecord::Bytes& input,
                         SmcParamRecord::Bytes& output) override;

    // The SMC's own answer to an unknown key.
    static constexpr std::uint8_t keyNotFound = 0x84;

private:
    std::optional<std::uint32_t> keyCount();
    bool select(std::uint32_t index);
    std::optional<std::uint32_t> indexOf(std::uint32_t key);
    void readNames();
    bool answerKeyInfo(SmcParamRecord& record);
    bool answerRead(SmcParamRecord& record);
    bool answerKeyAtIndex(SmcParamRecord& record);

    std::unique_ptr<Attributes> attributes_;
    bool indexed_ = false;
    QHash<std::uint32_t, std::uint32_t> indexByKey_;
    std::vector<std::uint32_t> unnamedIndexes_; // not named yet

};

} // namespace velmox
