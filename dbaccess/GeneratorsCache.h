#pragma once
// Generator values taken from the server a block at a time: one "gen_id(name, 50)"
// reserves fifty keys, which are then handed out one by one without a round trip.
// The unused rest of a block can be kept in a file for the next start.

#include <QString>
#include <optional>
#include <vector>

enum TUseGeneratorCache { ugcNo, ugcForAll, ugcForGeneratorList };

struct TGeneratorParams {
    TGeneratorParams() = default;
    explicit TGeneratorParams(const QString& name, int stepForCache = 0) : GeneratorName(name), StepForCache(stepForCache) {}

    QString GeneratorName;
    int StepForCache = 0;        // 0: the cache's DefaultStep
    qint64 NextValue = 0;        // next key to hand out
    std::optional<qint64> Limit; // last key of the reserved block; none: nothing reserved
};

class TGeneratorsCache {
public:
    QString CacheFileName;
    int DefaultStep = 50;
    TUseGeneratorCache UseGeneratorCache = ugcNo;
    std::vector<TGeneratorParams> GeneratorList;

    // Whether keys of this generator come from the cache.
    bool ActiveFor(const QString& name) const;
    // The block size the server is asked for.
    int StepFor(const QString& name) const;
    // The next reserved key, if one is left.
    std::optional<qint64> Take(const QString& name);
    // A block reserved by the server: last is what gen_id answered for step.
    void Reserved(const QString& name, qint64 last, int step);
    // The reserved rest, as "StepForCache", "NextValue" and "Limit" per generator.
    bool SaveToFile() const;
    void LoadFromFile();

private:
    TGeneratorParams* Find(const QString& name);
    const TGeneratorParams* Find(const QString& name) const;
    bool fLoaded = false;   // the file is read before the first key is handed out
};
