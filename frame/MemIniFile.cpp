#include "frame/MemIniFile.h"

#include "frame/ZELBase.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <QStringEncoder>

TMemIniFile::TMemIniFile(const QString& fileName) : fFileName(fileName)
{
    QFile f(fileName);
    if (!f.exists())
        return;
    if (!f.open(QIODevice::ReadOnly))
        throw Exception(QStringLiteral("%1: %2").arg(fileName, f.errorString()));
    QStringDecoder decode("windows-1252");
    const QString text = decode(f.readAll());
    Section* current = nullptr;
    for (QString line : text.split(u'\n')) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        const qsizetype eq = line.indexOf(u'=');
        const QString key = eq > 0 ? line.left(eq).trimmed() : QString();
        if (!key.isEmpty() && !key.startsWith(u'[') && !key.startsWith(u';')) {
            // The blanks round "=" are layout; a blank at the end of a value belongs to it
            // ("F03=CANBus " must read the same on every start).
            qsizetype v = eq + 1;
            while (v < line.size() && (line[v] == u' ' || line[v] == u'\t'))
                ++v;
            (current ? current->lines : fPreamble).append(key + u'=' + line.mid(v));
            continue;
        }
        line = line.trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            const QString name = line.mid(1, line.size() - 2).trimmed();
            // A section written twice in other case is one section.
            current = find(name);
            if (!current) {
                fSections.push_back({name, {}});
                current = &fSections.back();
            }
            continue;
        }
        (current ? current->lines : fPreamble).append(line);
    }
}

const TMemIniFile::Section* TMemIniFile::find(const QString& section) const
{
    for (const Section& s : fSections)
        if (s.name.compare(section, Qt::CaseInsensitive) == 0)
            return &s;
    return nullptr;
}

TMemIniFile::Section* TMemIniFile::find(const QString& section)
{
    return const_cast<Section*>(std::as_const(*this).find(section));
}

qsizetype TMemIniFile::indexOfKey(const Section& s, const QString& key)
{
    // Blanks round a key are layout, as on reading the file: "key " names "key".
    const QString name = key.trimmed();
    for (qsizetype i = 0; i < s.lines.size(); ++i) {
        const QString& l = s.lines[i];
        const qsizetype eq = l.indexOf(u'=');
        if (eq > 0 && QStringView(l).left(eq).compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

QString TMemIniFile::ReadString(const QString& section, const QString& key, const QString& defaultValue) const
{
    const Section* s = find(section);
    if (!s)
        return defaultValue;
    const qsizetype i = indexOfKey(*s, key);
    if (i < 0)
        return defaultValue;
    const QString& l = s->lines[i];
    return l.mid(l.indexOf(u'=') + 1);
}

void TMemIniFile::WriteString(const QString& section, const QString& key, const QString& value)
{
    Section* s = find(section);
    if (!s) {
        fSections.push_back({section, {}});
        s = &fSections.back();
    }
    const QString line = key.trimmed() + u'=' + value;
    const qsizetype i = indexOfKey(*s, key);
    if (i >= 0)
        s->lines[i] = line;
    else
        s->lines.append(line);
}

void TMemIniFile::WriteInteger(const QString& section, const QString& key, int value)
{
    WriteString(section, key, QString::number(value));
}

bool TMemIniFile::SectionExists(const QString& section) const
{
    return find(section) != nullptr;
}

bool TMemIniFile::ValueExists(const QString& section, const QString& key) const
{
    const Section* s = find(section);
    return s && indexOfKey(*s, key) >= 0;
}

QStringList TMemIniFile::ReadSectionValues(const QString& section) const
{
    QStringList out;
    if (const Section* s = find(section))
        for (const QString& l : s->lines)
            if (l.indexOf(u'=') > 0)
                out.append(l);
    return out;
}

QStringList TMemIniFile::ReadSection(const QString& section) const
{
    QStringList out;
    for (const QString& l : ReadSectionValues(section))
        out.append(l.left(l.indexOf(u'=')));
    return out;
}

QStringList TMemIniFile::ReadSections() const
{
    QStringList out;
    for (const Section& s : fSections)
        out.append(s.name);
    return out;
}

void TMemIniFile::EraseSection(const QString& section)
{
    std::erase_if(fSections, [&](const Section& s) { return s.name.compare(section, Qt::CaseInsensitive) == 0; });
}

void TMemIniFile::DeleteKey(const QString& section, const QString& key)
{
    if (Section* s = find(section)) {
        const qsizetype i = indexOfKey(*s, key);
        if (i >= 0)
            s->lines.removeAt(i);
    }
}

QStringList TMemIniFile::GetStrings() const
{
    QStringList out = fPreamble;
    if (!fPreamble.isEmpty())
        out.append(QString());
    for (const Section& s : fSections) {
        out.append(u'[' + s.name + u']');
        out.append(s.lines);
        out.append(QString());
    }
    return out;
}

void TMemIniFile::UpdateFile() const
{
    QString text;
    for (const QString& l : GetStrings())
        text += l + QStringLiteral("\r\n");
    QStringEncoder encode("windows-1252", QStringConverter::Flag::Default);
    const QByteArray bytes = encode(text);
    // A write-protected file stays as it is, although replacing it would be possible.
    const QFileInfo info(fFileName);
    if (info.exists() && !info.isWritable())
        throw Exception(QStringLiteral("%1: Datei ist schreibgeschützt").arg(fFileName));
    QSaveFile f(fFileName);
    if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size() || !f.commit())
        throw Exception(QStringLiteral("%1: %2").arg(fFileName, f.errorString()));
}
