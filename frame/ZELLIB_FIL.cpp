#include "frame/ZELLIB_FIL.h"

#include "frame/ZELLIB_Eingabe.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr std::uint16_t faReadOnly = 0x0001, faHidden = 0x0002, faSysFile = 0x0004, faDirectory = 0x0010,
                        faNormal = 0x0080, faSymLink = 0x0400, faInvalid = 0xFFFF;

bool Unlink(const QString& name)
{
    return ::unlink(QFile::encodeName(name).constData()) == 0;
}

// What the system's own delete does beyond a plain unlink: a folder goes with all it
// holds, and a name with wildcards removes every match in its folder.
bool ShellDelete(const QString& name)
{
    const QFileInfo info(name);
    const QString pattern = info.fileName();
    if (pattern.contains(u'*') || pattern.contains(u'?')) {
        QDir folder = info.dir();
        const QFileInfoList matches =
            folder.entryInfoList({pattern}, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        if (matches.isEmpty())
            return false;
        bool all = true;
        for (const QFileInfo& m : matches)
            all = (m.isDir() && !m.isSymLink() ? QDir(m.filePath()).removeRecursively() : Unlink(m.filePath())) && all;
        return all;
    }
    if (info.isDir() && !info.isSymLink())
        return QDir(name).removeRecursively();
    return Unlink(name);
}
}

std::uint16_t FileAttributes(const QString& name)
{
    struct stat st {};
    if (::lstat(QFile::encodeName(name).constData(), &st) != 0)
        return faInvalid;
    std::uint16_t a = 0;
    if (!(st.st_mode & S_IWUSR))
        a |= faReadOnly;
    if (QFileInfo(name).fileName().startsWith(u'.'))
        a |= faHidden;
    if (S_ISLNK(st.st_mode))
        a |= faSymLink;
    else if (S_ISDIR(st.st_mode))
        a |= faDirectory;
    else if (!S_ISREG(st.st_mode))
        a |= faSysFile;
    return a == 0 ? faNormal : a;
}

bool FileCopy(const QString& source, const QString& target)
{
    QFile in(ExpandedCopy(source));
    if (!in.open(QIODevice::ReadOnly))
        return false;
    QFile out(ExpandedCopy(target));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    bool ok = true;
    while (ok && !in.atEnd()) {
        const QByteArray chunk = in.read(1 << 16);
        ok = in.error() == QFileDevice::NoError && out.write(chunk) == chunk.size();
    }
    ok = out.flush() && ok;
    out.close();
    if (!ok)
        out.remove();
    return ok;
}

bool FileDelete(const QString& fileName)
{
    const QString name = ExpandedCopy(fileName);
    // 1. The plain delete.
    if (Unlink(name))
        return true;
    // 2. The note, then away with the marks that can stand in the way. Here that is the
    //    owner's missing write right; a hidden name or a special file have no mark that
    //    could be taken off. (A missing write right on the file does not stop a delete
    //    on this system, only one on its folder does: a read-only file is gone at 1.)
    std::uint16_t attributes = FileAttributes(name);
    ShowHinweis(name + QStringLiteral("<BR>konnte nicht gelöscht werden:(V1)<BR>Attributs: ") + WordToBits(attributes));
    if (attributes != faInvalid && (attributes & (faReadOnly | faHidden | faSysFile))) {
        attributes &= ~(faReadOnly | faHidden | faSysFile);
        struct stat st {};
        const QByteArray path = QFile::encodeName(name);
        if (::stat(path.constData(), &st) == 0 && !(st.st_mode & S_IWUSR))
            ::chmod(path.constData(), (st.st_mode & 07777) | S_IWUSR);
    }
    // 3. Again.
    if (Unlink(name))
        return true;
    // 4. The second note.
    ShowHinweis(name + QStringLiteral("<BR>konnte nicht gelöscht werden(V2):<BR>Attributs: ") + WordToBits(attributes));
    // 5. The way the system's file manager deletes.
    if (ShellDelete(name))
        return true;
    // 6. Given up.
    ShowHinweis(name + QStringLiteral("<BR>konnte nicht gelöscht werden(V3)"));
    return false;
}
