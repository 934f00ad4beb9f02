#include "spelldictionary.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QTextBlock>
#include <QTextCodec>
#include <QTextCursor>
#include <hunspell.h>

struct SpellDictionary::Loaded
{
    Hunhandle *handle = nullptr;
    QTextCodec *codec = nullptr;

    QByteArray encode(const QString &word) const { return codec->fromUnicode(word); }
};

namespace {

const QString defaultDictionary = QStringLiteral("./Dict/ru_RU.dic");

// The loaded dictionaries by absolute ".dic" path, destroyed at exit.
class DictionaryCache
{
public:
    ~DictionaryCache()
    {
        for (auto *loaded : qAsConst(m_loaded)) {
            Hunspell_destroy(loaded->handle);
            delete loaded;
        }
    }
    QHash<QString, SpellDictionary::Loaded *> m_loaded;
};
Q_GLOBAL_STATIC(DictionaryCache, cache)

bool readableFile(const QString &path)
{
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly);
}

bool isWordChar(QChar c)
{
    return c.isLetterOrNumber() || c.isMark() || c == QLatin1Char('_');
}

} // namespace

SpellDictionary::SpellDictionary(const QString &dicPath)
    : m_path(dicPath.isEmpty() ? defaultPath() : dicPath)
{
    const QString base = m_path.left(m_path.size() - 4);
    const QString dic = base + QStringLiteral(".dic");
    const QString aff = base + QStringLiteral(".aff");
    if (!readableFile(dic) || !readableFile(aff))
        return;
    const QString key = QFileInfo(dic).absoluteFilePath();
    m_loaded = cache()->m_loaded.value(key);
    if (m_loaded)
        return;
    Hunhandle *handle =
        Hunspell_create(QFile::encodeName(aff).constData(), QFile::encodeName(dic).constData());
    if (!handle)
        return;
    m_loaded = new Loaded;
    m_loaded->handle = handle;
    m_loaded->codec = QTextCodec::codecForName(Hunspell_get_dic_encoding(handle));
    if (!m_loaded->codec)
        m_loaded->codec = QTextCodec::codecForName("UTF-8");
    cache()->m_loaded.insert(key, m_loaded);
}

bool SpellDictionary::check(const QString &word) const
{
    if (!m_loaded)
        return true;
    return Hunspell_spell(m_loaded->handle, m_loaded->encode(word).constData()) != 0;
}

QStringList SpellDictionary::suggest(const QString &word, int max) const
{
    QStringList result;
    if (!m_loaded)
        return result;
    char **list = nullptr;
    const int count = Hunspell_suggest(m_loaded->handle, &list, m_loaded->encode(word).constData());
    for (int i = 0; i < count && result.size() < max; ++i)
        result << m_loaded->codec->toUnicode(list[i]);
    Hunspell_free_list(m_loaded->handle, &list, count);
    return result;
}

void SpellDictionary::add(const QString &word)
{
    if (m_loaded && !word.isEmpty())
        Hunspell_add(m_loaded->handle, m_loaded->encode(word).constData());
}

QString SpellDictionary::defaultPath()
{
    if (QFileInfo::exists(defaultDictionary))
        return defaultDictionary;
    QStringList folders =
        qEnvironmentVariable("DICPATH").split(QDir::listSeparator(), Qt::SkipEmptyParts);
    folders << QStringLiteral("/usr/local/share/hunspell") << QStringLiteral("/usr/share/hunspell")
            << QStringLiteral("/usr/share/myspell") << QStringLiteral("/usr/share/myspell/dicts");
    for (const QString &folder : qAsConst(folders)) {
        const QString path = QDir(folder).filePath(QStringLiteral("ru_RU.dic"));
        if (QFileInfo::exists(path))
            return path;
    }
    return defaultDictionary;
}

QString SpellDictionary::selectWord(QTextCursor *cursor)
{
    const QString text = cursor->block().text();
    const int at = cursor->positionInBlock();
    int start = at;
    while (start > 0 && isWordChar(text.at(start - 1)))
        --start;
    int end = at;
    while (end < text.size() && isWordChar(text.at(end)))
        ++end;
    if (start == end || (start > 0 && text.at(start - 1) == QLatin1Char('\\')))
        return QString();
    const int blockStart = cursor->block().position();
    cursor->setPosition(blockStart + start);
    cursor->setPosition(blockStart + end, QTextCursor::KeepAnchor);
    return text.mid(start, end - start);
}
