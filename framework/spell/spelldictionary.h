#pragma once

#include "rejects_global.h"

#include <QString>
#include <QStringList>

class QTextCursor;

// One Hunspell dictionary, named by the path of its ".dic" file; the affix
// file is the same path with its last four characters replaced by ".aff".
// Words go to and from the library in the dictionary's own encoding
// (Hunspell's get_dic_encoding).
//
// A dictionary is usable only when both files exist and can be read; an
// unusable one checks every word as correct and suggests nothing, silently.
//
// A loaded dictionary is kept once per file for the life of the process and
// shared by every editor and highlighter that names it (a Russian dictionary
// takes a quarter of a second and some 20 MB to load). Words added with add()
// are therefore accepted everywhere for the rest of the run; nothing is written
// to disk. GUI thread only.
class REJECTS_EXPORT SpellDictionary
{
public:
    // An empty path means defaultPath().
    explicit SpellDictionary(const QString &dicPath = QString());

    QString path() const { return m_path; }
    bool isUsable() const { return m_loaded != nullptr; }

    // True when the word is spelt correctly (always, without a dictionary).
    bool check(const QString &word) const;
    // Hunspell's suggestions in its order, at most `max` of them.
    QStringList suggest(const QString &word, int max = 5) const;
    // Accepts the word from now on, for this run of the program.
    void add(const QString &word);

    // "./Dict/ru_RU.dic" (relative to the working directory) when that file
    // exists; otherwise the system's Russian dictionary ru_RU.dic from the
    // folders named in DICPATH and the usual hunspell folders; otherwise
    // "./Dict/ru_RU.dic" anyway (which leaves checking without effect).
    static QString defaultPath();

    // Selects in `cursor` the word around its position (words are separated
    // by runs of non-word characters) and returns it; empty when there is no
    // word there or the word follows a backslash (such words are tags, never
    // checked).
    static QString selectWord(QTextCursor *cursor);

    struct Loaded; // a loaded dictionary, kept by the cache in the source file

private:
    QString m_path;
    Loaded *m_loaded = nullptr; // owned by the process-wide cache
};
