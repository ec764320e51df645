// The game's folder in a temporary place.
#pragma once

#include "platform/files.h"
#include "settings/paths.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

inline QString qtText(const std::u16string& text) {
    return QString::fromStdU16String(text);
}

// A data root "game" in a temporary folder. Names of files in it use slashes.
class DataRoot {
    QTemporaryDir folder;

public:
    // In the form that the system itself gives paths in.
    std::u16string path() const {
        return joinPath(platform::toWideText(*platform::canonicalPath(folder.path().toStdU16String())), u"game");
    }
    std::u16string at(const QByteArray& name) const {
        return joinPath(path(), QString::fromUtf8(name).toStdU16String());
    }
    void write(const QByteArray& name, const QByteArray& bytes) const {
        const std::filesystem::path file = at(name);
        std::filesystem::create_directories(file.parent_path());
        platform::writeWholeFile(file, bytes.toStdString());
    }
    // "(no file)" where there is none.
    QByteArray read(const QByteArray& name) const {
        std::string bytes;
        return platform::readWholeFile(at(name), bytes) ? QByteArray::fromStdString(bytes) : QByteArray("(no file)");
    }
};
