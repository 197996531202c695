#pragma once
// The server's count of a dataset's rows, asked on a second thread so that the
// caller can work on the rows already fetched meanwhile. Only the client's plain
// execute runs there, in the dataset's transaction; a count that fails there is
// asked again on the caller's thread, where a failure meets the usual handling
// and messages. The dataset and its transaction must stay as they are until the
// result is taken (or the object is gone: it waits for the thread).

#include <future>
#include <memory>

class TFIBCustomDataSet;
class TFIBQuery;

class TFIBServerCount {
public:
    // Prepares the count on the caller's thread and starts it.
    explicit TFIBServerCount(const TFIBCustomDataSet& dataSet);
    ~TFIBServerCount();
    TFIBServerCount(const TFIBServerCount&) = delete;
    TFIBServerCount& operator=(const TFIBServerCount&) = delete;

    // Waits for the count; what ServerRecordCount would answer.
    int Result();
    // Whether the count was answered on the second thread (false: asked again here).
    bool AnsweredAside() const { return fAnsweredAside; }

private:
    const TFIBCustomDataSet& fDataSet;
    std::unique_ptr<TFIBQuery> fQuery;
    std::future<bool> fDone;   // after fQuery: it is waited for before the query goes
    bool fAnsweredAside = false;
};
