#include "platform/linux/AppleSmcSysfs.h"

#include <QFile>
#include <QFileInfo>
#include <numeric>

namespace velmox {

namespace {

class FolderAttributes final : public AppleSmcSysfs::Attributes {
public:
    explicit FolderAttributes(QString folder) : folder_(std::move(folder)) {}
    std::optional<QByteArray> read(const QString& name) override {
        QFile file(folder_ + QLatin1Char('/') + name);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            return std::nullopt;
        return file.readAll();
    }
    bool write(const QString& name, const QByteArray& value) override {
        QFile file(folder_ + QLatin1Char('/') + name);
        return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
               file.write(value) == value.size();
    }

private:
    QString folder_;
};

std::optional<std::uint32_t> parseNumber(const std::optional<QByteArray>& text) {
    if (!text)
        return std::nullopt;
    bool ok = false;
    const uint value = text->trimmed().toUInt(&ok);
    return ok ? std::optional<std::uint32_t>(value) : std::nullopt;
}

// The driver prints names and types with a trailing new line; a three-letter type keeps
// its padding blank ("ui8 "), which some drivers drop. The four bytes are the code as they
// are, whatever their encoding.
std::optional<std::uint32_t> parseFourChars(const std::optional<QByteArray>& text) {
    if (!text)
        return std::nullopt;
    QByteArray chars = *text;
    if (chars.endsWith('\n'))
        chars.chop(1);
    if (chars.isEmpty() || chars.size() > 4)
        return std::nullopt;
    chars = chars.leftJustified(4, ' ');
    std::uint32_t code = 0;
    for (const char byte : chars)
        code = (code << 8) | std::uint8_t(byte);
    return code != 0 ? std::optional(code) : std::nullopt;
}

} // namespace

AppleSmcSysfs::AppleSmcSysfs(std::unique_ptr<Attributes> attributes)
    : attributes_(std::move(attributes)) {}

std::unique_ptr<AppleSmcSysfs::Attributes> AppleSmcSysfs::folderAttributes(const QString& folder) {
    return std::make_unique<FolderAttributes>(folder);
}

std::unique_ptr<AppleSmcSysfs> AppleSmcSysfs::open(const QString& folder) {
    const QFileInfo selector(folder + QStringLiteral("/key_at_index"));
    if (!selector.exists() || !selector.isWritable())
        return nullptr;
    auto smc = std::make_unique<AppleSmcSysfs>(folderAttributes(folder));
    if (!smc->keyCount())
        return nullptr;
    return smc;
}

std::optional<std::uint32_t> AppleSmcSysfs::keyCount() {
    return parseNumber(attributes_->read(QStringLiteral("key_count")));
}

bool AppleSmcSysfs::select(std::uint32_t index) {
    return attributes_->write(QStringLiteral("key_at_index"), QByteArray::number(index));
}

std::optional<std::uint32_t> AppleSmcSysfs::indexOf(std::uint32_t key) {
    if (!indexed_) {
        const auto count = keyCount();
        if (!count)
            return std::nullopt;
        unnamedIndexes_.resize(*count);
        std::iota(unnamedIndexes_.begin(), unnamedIndexes_.end(), 0u);
        indexed_ = true;
    }
    auto found = indexByKey_.constFind(key);
    if (found == indexByKey_.cend() && !unnamedIndexes_.empty()) {
        readNames();
        found = indexByKey_.constFind(key);
    }
    if (found == indexByKey_.cend())
        return std::nullopt;
    return *found;
}

void AppleSmcSysfs::readNames() {
    std::erase_if(unnamedIndexes_, [this](std::uint32_t index) {
        if (!select(index))
            return false;
        const auto name = parseFourChars(attributes_->read(QStringLiteral("key_at_index_name")));
        if (name)
            indexByKey_.insert(*name, index);
        return name.has_value();
    });
}

bool AppleSmcSysfs::answerKeyInfo(SmcParamRecord& record) {
    const auto index = indexOf(record.key);
    if (!index || !select(*index))
        return false;
    const auto type = parseFourChars(attributes_->read(QStringLiteral("key_at_index_type")));
    const auto length = parseNumber(attributes_->read(QStringLiteral("key_at_index_data_length")));
    if (!type || !length)
        return false;
    record.dataType = *type;
    record.dataSize = *length;
    return true;
}

bool AppleSmcSysfs::answerRead(SmcParamRecord& record) {
    const auto index = indexOf(record.key);
    if (!index || !select(*index))
        return false;
    const auto data = attributes_->read(QStringLiteral("key_at_index_data"));
    if (!data || data->size() < qsizetype(record.dataSize) || record.dataSize > record.bytes.size())
        return false;
    std::copy_n(data->cbegin(), record.dataSize, record.bytes.begin());
    return true;
}

bool AppleSmcSysfs::answerKeyAtIndex(SmcParamRecord& record) {
    const auto count = keyCount();
    if (!count || record.data32 >= *count || !select(record.data32))
        return false;
    const auto name = parseFourChars(attributes_->read(QStringLiteral("key_at_index_name")));
    if (!name)
        return false;
    record.key = *name;
    return true;
}

int AppleSmcSysfs::callStructMethod(const SmcParamRecord::Bytes& input,
                                    SmcParamRecord::Bytes& output) {
    SmcParamRecord record = SmcParamRecord::decode(input);
    bool answered = false;
    switch (record.command) {
    case SmcParamRecord::keyInfo:
        answered = answerKeyInfo(record);
        break;
    case SmcParamRecord::readKey:
        answered = answerRead(record);
        break;
    case SmcParamRecord::keyAtIndex:
        answered = answerKeyAtIndex(record);
        break;
    default:
        return -1;
    }
    record.result = answered ? 0 : keyNotFound;
    output = record.encode();
    return 0;
}

SmcConnectionOpener systemSmcConnectionOpener() {
    return [] { return std::unique_ptr<SmcConnection>(AppleSmcSysfs::open()); };
}

} // namespace velmox
