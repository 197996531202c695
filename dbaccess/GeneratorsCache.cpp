#include "dbaccess/GeneratorsCache.h"

#include <QFile>
#include <QSettings>

namespace {
bool SameName(const QString& a, const QString& b)
{
    auto bare = [](QString s) { return s.remove(u'"').trimmed(); };
    return bare(a).compare(bare(b), Qt::CaseInsensitive) == 0;
}
}

TGeneratorParams* TGeneratorsCache::Find(const QString& name)
{
    for (TGeneratorParams& p : GeneratorList)
        if (SameName(p.GeneratorName, name))
            return &p;
    return nullptr;
}

const TGeneratorParams* TGeneratorsCache::Find(const QString& name) const
{
    return const_cast<TGeneratorsCache*>(this)->Find(name);
}

bool TGeneratorsCache::ActiveFor(const QString& name) const
{
    switch (UseGeneratorCache) {
    case ugcForAll: return true;
    case ugcForGeneratorList: return Find(name) != nullptr;
    default: return false;
    }
}

int TGeneratorsCache::StepFor(const QString& name) const
{
    const TGeneratorParams* p = Find(name);
    const int step = p && p->StepForCache > 0 ? p->StepForCache : DefaultStep;
    return step > 0 ? step : 1;
}

std::optional<qint64> TGeneratorsCache::Take(const QString& name)
{
    if (!fLoaded) {
        fLoaded = true;
        LoadFromFile();
    }
    TGeneratorParams* p = Find(name);
    if (!p || !p->Limit || p->NextValue > *p->Limit)
        return std::nullopt;
    return p->NextValue++;
}

void TGeneratorsCache::Reserved(const QString& name, qint64 last, int step)
{
    TGeneratorParams* p = Find(name);
    if (!p) {
        GeneratorList.push_back(TGeneratorParams{name});
        p = &GeneratorList.back();
    }
    p->NextValue = last - step + 1;
    p->Limit = last;
}

bool TGeneratorsCache::SaveToFile() const
{
    if (CacheFileName.isEmpty() || !fLoaded)
        return true;   // nothing handed out: the file still holds what it held
    QSettings f(CacheFileName, QSettings::IniFormat);
    f.clear();
    for (const TGeneratorParams& p : GeneratorList) {
        f.beginGroup(p.GeneratorName);
        f.setValue(QStringLiteral("StepForCache"), p.StepForCache);
        f.setValue(QStringLiteral("NextValue"), p.NextValue);
        if (p.Limit)
            f.setValue(QStringLiteral("Limit"), *p.Limit);
        f.endGroup();
    }
    f.sync();
    return f.status() == QSettings::NoError;
}

void TGeneratorsCache::LoadFromFile()
{
    if (CacheFileName.isEmpty())
        return;
    QSettings f(CacheFileName, QSettings::IniFormat);
    for (const QString& group : f.childGroups()) {
        f.beginGroup(group);
        TGeneratorParams p{group, f.value(QStringLiteral("StepForCache"), 0).toInt()};
        bool nextOk = false, limitOk = false;
        p.NextValue = f.value(QStringLiteral("NextValue")).toLongLong(&nextOk);
        const qint64 limit = f.value(QStringLiteral("Limit")).toLongLong(&limitOk);
        if (nextOk && limitOk)
            p.Limit = limit;   // a broken entry reserves nothing
        f.endGroup();
        if (TGeneratorParams* known = Find(group))
            *known = p;
        else
            GeneratorList.push_back(p);
    }
    // Read once: a process that ends without saving must not hand the same keys out
    // again at its next start. The rest is written back when the connection closes.
    f.clear();
    f.sync();
}
