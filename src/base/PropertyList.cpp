#include "base/PropertyList.h"

#include <QStringDecoder>

#include "base/Localized.h"
#include "base/PropertyListForms.h"

namespace tarvo {

namespace {

bool isUtf8(std::string_view bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString text = decoder(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return !decoder.hasError();
}

} // namespace

Result<PropertyList> PropertyList::read(std::string_view bytes) {
    if (bytes.size() > PropertyListLimit::kBytes)
        return failure(damagedArchive("tr.archive.too-large"));
    PropertyList list;
    const bool isBinary = bytes.starts_with("bplist00");
    if (!isBinary && !isUtf8(bytes))
        return failure(damagedArchive("tr.archive.no-text"));
    const Problem problem = isBinary ? readBinaryPropertyList(bytes, list.m_values, list.m_root)
                                     : readXmlPropertyList(bytes, list.m_values);
    if (problem)
        return failure(damagedArchive(*problem));
    return list;
}

const PropertyList::Value* PropertyList::find(const Value* dictionary, std::string_view key) const {
    if (!dictionary || dictionary->kind != Kind::dictionary)
        return nullptr;
    const auto& parts = dictionary->parts;
    for (std::size_t i = 0; i < parts.size(); i += 2) {
        const Value& name = m_values[parts[i]];
        if (name.kind == Kind::text && name.bytes == key)
            return &m_values[parts[i + 1]];
    }
    return nullptr;
}

Error damagedArchive(std::string_view reasonKey) {
    return Error::tarvo(localized("tr.err.archive-damaged", {localized(reasonKey)}));
}

} // namespace tarvo
