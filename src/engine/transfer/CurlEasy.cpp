#include "engine/transfer/CurlEasy.h"

namespace tarvo {

void CurlEasy::encode(KeyedArchiver& archiver) const {
    archiver.encodeUrl("URL", url);
    archiver.encodeInteger("lowerBound", lowerBound);
    archiver.encodeInteger("upperBound", upperBound);
    archiver.encodeInteger("currentOffset", currentOffset);
}

Result<std::shared_ptr<Archivable>> CurlEasy::make(KeyedUnarchiver& from) {
    auto record = std::make_shared<CurlEasy>();
    record->url = from.decodeUrl("URL");
    record->lowerBound = from.decodeInteger("lowerBound");
    record->upperBound = from.decodeInteger("upperBound");
    record->currentOffset = from.decodeInteger("currentOffset");
    return record;
}

} // namespace tarvo
