// Writes sample map folders.
#include "mapgen/map_writer.h"
#include "platform/files.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <cstdio>
#include <limits>

namespace {

constexpr char kUsage[] = "usage: mapgen OUTDIR [options]\n"
                          "\n"
                          "Writes seeded sample map folders into OUTDIR. The same options give the same bytes.\n"
                          "\n"
                          "  --count N       how many maps, 1 to 1000000; 10 without it\n"
                          "  --seed S        another S, other maps; 1 without it\n"
                          "  --size BYTES    of a .map file, about, 0 to 134217728; 20000 without it\n"
                          "  --first NUMBER  the number in the first map's name; 10078 without it\n"
                          "  --plain         only complete maps, with no other files beside theirs\n"
                          "  --help          this text\n";

template<typename Number>
bool takeNumber(const QString& text, qulonglong least, qulonglong most, Number& number) {
    bool ok = false;
    const qulonglong value = text.toULongLong(&ok);
    number = static_cast<Number>(value);
    return ok && value >= least && value <= most;
}

// False when the option is unknown or its value is wrong.
bool applyOption(const QString& option, const QString& value, mapgen::MapSet& set) {
    constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
    return option == QLatin1String("--count")   ? takeNumber(value, 1, mapgen::kMaxMaps, set.count)
           : option == QLatin1String("--seed")  ? takeNumber(value, 0, kMost, set.seed)
           : option == QLatin1String("--size")  ? takeNumber(value, 0, mapgen::kMaxMapBytes, set.bytes)
           : option == QLatin1String("--first") ? takeNumber(value, 0, kMost - mapgen::kMaxMaps, set.first)
                                                : false;
}

int wrongUse(const QString& what) {
    std::fprintf(stderr, "mapgen: %s (mapgen --help lists the options)\n", qUtf8Printable(what));
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    // File names are UTF-8 whatever the console's locale.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    mapgen::MapSet set;
    QString folder;
    for (int i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--help")) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (argument == QLatin1String("--plain")) {
            set.oddities = false;
        } else if (!argument.startsWith(QLatin1String("--")) && folder.isEmpty()) {
            folder = argument;
        } else if (!applyOption(argument, arguments.value(++i), set)) {
            return wrongUse(QStringLiteral("unknown option or bad value: ") + argument);
        }
    }
    if (folder.isEmpty()) {
        return wrongUse(QStringLiteral("no folder given"));
    }
    std::string error;
    if (!mapgen::writeMaps(platform::toPath(folder.toStdU16String()), set, error)) {
        std::fprintf(stderr, "mapgen: %s\n", error.c_str());
        return 1;
    }
    std::printf("%zu maps\n", set.count);
    return 0;
}
