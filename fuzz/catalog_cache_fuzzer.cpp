// The reader of the map cache: what it took from any bytes survives being written and read again.
#include "fuzz/expect.h"
#include "maps/catalog_cache.h"

#include <QtGlobal>

#include <set>

using namespace NetPlay;

namespace {

// A table has no order, so neither has its text. What a line took may take more when it is written again.
std::multiset<std::string> lines(const MapCatalogCache& table, CatalogCacheText& whole) {
    std::multiset<std::string> result;
    for (const auto& [key, entry] : table) {
        CatalogCacheText line;
        if (line.add(entry)) {
            result.insert(line.text());
            expect(whole.add(entry), "small tables fit");
        }
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
    CatalogCacheText text;
    CatalogCacheText again;
    const std::multiset<std::string> written = lines(table, text);
    bool isCurrent = false;
    expect(lines(parseCatalogCache(text.text(), &isCurrent), again) == written && isCurrent, "read back as written");
    return 0;
}
