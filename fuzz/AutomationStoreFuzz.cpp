// The automation rules file as another program (or a damaged disk) may leave it.
#include "automation/AutomationModel.h"

#include <QJsonDocument>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QJsonDocument document = QJsonDocument::fromJson(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)));
    const velmox::AutomationStoreData decoded = velmox::storeDataFromJson(document.object());
    (void)QJsonDocument(velmox::toJson(decoded)).toJson();
    return 0;
}
