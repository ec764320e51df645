// Temporary folders, and the helper program as a child of a test.
#pragma once

#include "platform/files.h"
#include "platform/process.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

// The helper program beside the test program.
inline std::filesystem::path helperProgram() {
    const std::filesystem::path own = platform::executableFile();
    return own.parent_path() / ("platform_helper" + own.extension().string());
}

// A temporary folder. Names of files in it use slashes; asking for one makes the folders on the way.
class TestFolder {
    QTemporaryDir folder_;

public:
    std::u16string text(const std::string& name) const {
        const QString file = folder_.filePath(QString::fromStdString(name));
        QDir().mkpath(QFileInfo(file).path());
        return QDir::toNativeSeparators(file).toStdU16String();
    }
    std::filesystem::path path(const std::string& name) const { return platform::toPath(text(name)); }
    // A copy of the helper program.
    std::u16string program(const std::string& name) const {
        std::filesystem::copy_file(helperProgram(), path(name));
        return text(name);
    }
    // Empty when the file cannot be read.
    QByteArray content(const std::string& name) const {
        std::string bytes;
        platform::readWholeFile(path(name), bytes);
        return QByteArray::fromStdString(bytes);
    }
};

// Starts the helper, or a copy of it. The arguments hold neither quotes nor backslashes at the end.
inline platform::ProcessStartResult startHelper(const std::vector<std::u16string>& arguments,
                                                const std::u16string& program = helperProgram().u16string(),
                                                const std::u16string& workingDirectory = {}) {
    std::u16string line = u"\"" + program + u"\"";
    for (const std::u16string& argument : arguments) {
        line += u" \"" + argument + u"\"";
    }
    return platform::startProcess({program, line, workingDirectory});
}
