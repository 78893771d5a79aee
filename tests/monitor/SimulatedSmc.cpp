#include "tests/monitor/SimulatedSmc.h"

#include <QFile>
#include <QRegularExpression>
#include <stdexcept>

namespace velmox::test {

class SimulatedSmc::Connection final : public SmcConnection {
public:
    explicit Connection(std::shared_ptr<State> state) : state_(std::move(state)) {}

    int callStructMethod(const SmcParamRecord::Bytes& input,
                         SmcParamRecord::Bytes& output) override {
        if (state_->dead)
            return -1;
        SmcParamRecord record = SmcParamRecord::decode(input);
        const QString name = smcFourCharString(record.key);
        const Key* key = find(record.key);
        bool ok = false;
        switch (record.command) {
        case SmcParamRecord::keyInfo:
            ++state_->calls.keyInfo;
            ++state_->calls.keyInfoByKey[name];
            if ((ok = key && !key->infoFails)) {
                record.dataSize = key->size;
                record.dataType = key->type;
            }
            break;
        case SmcParamRecord::readKey:
            ++state_->calls.read;
            ++state_->calls.readByKey[name];
            if ((ok = key && !key->readFails && record.dataSize == key->size))
                std::copy(key->bytes.cbegin(), key->bytes.cend(), record.bytes.begin());
            break;
        case SmcParamRecord::keyAtIndex:
            ++state_->calls.keyAtIndex;
            if ((ok = record.data32 < state_->keys.size()))
                record.key = state_->keys[record.data32].code;
            break;
        default:
            return -1;
        }
        record.result = ok ? 0 : 0x84;
        output = record.encode();
        return 0;
    }

private:
    const Key* find(std::uint32_t code) const {
        for (const Key& key : state_->keys)
            if (key.code == code)
                return &key;
        return nullptr;
    }
    std::shared_ptr<State> state_;
};

SimulatedSmc SimulatedSmc::fromTable(const QString& tableText) {
    static const QRegularExpression row(
        QStringLiteral("^\\[(.{4})\\]\\s+\\[(.{4})\\]\\s+(\\d+)\\s+([0-9a-fA-F]*)\\s*(\\w*)$"));
    SimulatedSmc smc;
    for (const QString& line : tableText.split(QLatin1Char('\n'))) {
        if (line.trimmed().isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const auto match = row.match(line);
        if (!match.hasMatch())
            throw std::runtime_error("bad SMC table line: " + line.toStdString());
        Key key;
        key.code = *smcFourCharCode(match.captured(1));
        key.type = *smcFourCharCode(match.captured(2));
        key.size = match.captured(3).toUInt();
        key.bytes = QByteArray::fromHex(match.captured(4).toLatin1());
        key.infoFails = match.captured(5) == QLatin1String("infofail");
        key.readFails = match.captured(5) == QLatin1String("readfail");
        smc.state_->keys.push_back(key);
    }
    return smc;
}

SimulatedSmc SimulatedSmc::fromFile(const QString& name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/smc/") + name);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("missing SMC table " + name.toStdString());
    return fromTable(QString::fromUtf8(file.readAll()));
}

SmcConnectionOpener SimulatedSmc::opener() {
    return [state = state_]() -> std::unique_ptr<SmcConnection> {
        ++state->calls.opens;
        return std::make_unique<Connection>(state);
    };
}

void SimulatedSmc::removeKey(const QString& name) {
    const auto code = smcFourCharCode(name);
    std::erase_if(state_->keys, [&](const Key& key) { return key.code == code; });
}

void SimulatedSmc::setBytes(const QString& name, const QByteArray& bytes) {
    for (Key& key : state_->keys)
        if (key.code == smcFourCharCode(name))
            key.bytes = bytes;
}

} // namespace velmox::test
