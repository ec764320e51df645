// The calls of netplay-inspect. Each takes the words behind its name, prints its JSON on stdout, and returns the exit
// code: 0 when the operation succeeded, 1 when it reported failure. Wrong use throws UsageError.
#pragma once

#include <QJsonObject>
#include <QStringList>

// One document on a line of stdout.
void printDocument(const QJsonObject& document);
// The document of a reported failure; gives the exit code 1.
int printError(const QString& error);

int inspectRooms(const QStringList& words);
int inspectRoom(const QStringList& words);
int inspectPatchConfig(const QStringList& words);
int inspectPatchGameSetting(const QStringList& words);
int inspectLaunchBlock(const QStringList& words);
int inspectQuote(const QStringList& words);
int inspectResolve(const QStringList& words);
int inspectHostFile(const QStringList& words);
int inspectLaunch(const QStringList& words);
int inspectMaps(const QStringList& words);
int inspectMapFile(const QStringList& words);
int inspectFingerprint(const QStringList& words);
int inspectPlay(const QStringList& words);
// Prints a table instead of JSON.
int inspectCheckServer(const QStringList& words);
