// The reader of the map cache: what it took from any bytes survives being written and read again.
#include "fuzz/expect.h"
#include "maps/catalog_cache.h"

#include <QtGlobal>

#include <set>

using namespace NetPlay;

namespace {

// A table has no order, so neither has its text.
std::multiset<std::string> lines(const MapCatalogCache& table) {
    std::multiset<std::string> result;
    for (const auto& [key, entry] : table) {
        result.insert(catalogCacheText({{key, entry}}));
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    MapCatalogCache table = parseCatalogCache({data, size});
    for (const auto& [key, entry] : table) {
        expect(!entry.name.empty() && key == cacheKey(entry.name, entry.mapFilePathText), "each line under its key");
    }
    expect(lines(parseCatalogCache(catalogCacheText(table))) == lines(table), "read back as written");
    return 0;
}
