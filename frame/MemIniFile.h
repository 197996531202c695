#pragma once
// An INI file held whole in memory. Section and key names compare without regard
// to case, and blanks round a key name do not count; changes stay in memory until
// UpdateFile rewrites the file.
// The file is Windows-1252 text with CR LF line ends (LF alone is accepted on reading).

#include <QString>
#include <QStringList>
#include <vector>

class TMemIniFile {
public:
    // Reads the whole file; a missing file gives an empty image. Raises Exception when
    // the file exists but cannot be read.
    explicit TMemIniFile(const QString& fileName);

    const QString& FileName() const { return fFileName; }

    QString ReadString(const QString& section, const QString& key, const QString& defaultValue) const;
    void WriteString(const QString& section, const QString& key, const QString& value);
    void WriteInteger(const QString& section, const QString& key, int value);
    bool SectionExists(const QString& section) const;
    bool ValueExists(const QString& section, const QString& key) const;
    // Every "key=value" line of the section, as stored.
    QStringList ReadSectionValues(const QString& section) const;
    QStringList ReadSection(const QString& section) const;
    QStringList ReadSections() const;
    void EraseSection(const QString& section);
    void DeleteKey(const QString& section, const QString& key);
    // The whole image as the lines UpdateFile writes.
    QStringList GetStrings() const;
    // Rewrites the whole file; raises Exception when it cannot be written. The old
    // file is replaced only once the new one is complete.
    void UpdateFile() const;

private:
    struct Section {
        QString name;
        QStringList lines;   // "key=value" lines and anything else the file held there
    };
    const Section* find(const QString& section) const;
    Section* find(const QString& section);
    static qsizetype indexOfKey(const Section& s, const QString& key);

    QString fFileName;
    QStringList fPreamble;           // lines in front of the first section
    std::vector<Section> fSections;
};
