// The dataset contract, driven through an in-memory dataset that derives from it
// the way the record cache does.
#include "tests/dbaccess/MemDataSet.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

using Log = std::vector<std::string>;

// Columns ID (integer), NAME (text), WERT (float), ZEIT (date-time).
std::unique_ptr<TMemDataSet> MakeTable(int rows)
{
    auto ds = std::make_unique<TMemDataSet>();
    ds->SetName(QStringLiteral("Tab"));
    ds->AddColumn(QStringLiteral("ID"), ftInteger);
    ds->AddColumn(QStringLiteral("NAME"), ftString, 20);
    ds->AddColumn(QStringLiteral("WERT"), ftFloat);
    ds->AddColumn(QStringLiteral("ZEIT"), ftDateTime);
    static const char* names[] = {"Anton", "berta", "Cäsar", "Dora", "emil", "Friedrich"};
    for (int i = 0; i < rows; ++i) {
        const int r = ds->AddRow();
        ds->SetCell(r, 0, i + 1);
        ds->SetCell(r, 1, QString::fromUtf8(names[i % 6]));
        ds->SetCell(r, 2, (i + 1) * 1.5);
        ds->SetCell(r, 3, 46000.25 + i);
    }
    return ds;
}

void HookEvents(TDataSet& ds, Log& log)
{
    auto note = [&log](const char* name) { return [&log, name](TDataSet*) { log.emplace_back(name); }; };
    ds.BeforeOpen = note("BeforeOpen");
    ds.AfterOpen = note("AfterOpen");
    ds.BeforeClose = note("BeforeClose");
    ds.AfterClose = note("AfterClose");
    ds.BeforeInsert = note("BeforeInsert");
    ds.AfterInsert = note("AfterInsert");
    ds.BeforeEdit = note("BeforeEdit");
    ds.AfterEdit = note("AfterEdit");
    ds.BeforePost = note("BeforePost");
    ds.AfterPost = note("AfterPost");
    ds.BeforeCancel = note("BeforeCancel");
    ds.AfterCancel = note("AfterCancel");
    ds.BeforeDelete = note("BeforeDelete");
    ds.AfterDelete = note("AfterDelete");
    ds.BeforeRefresh = note("BeforeRefresh");
    ds.AfterRefresh = note("AfterRefresh");
    ds.BeforeScroll = note("BeforeScroll");
    ds.AfterScroll = note("AfterScroll");
    ds.OnNewRecord = note("OnNewRecord");
}

// A control's view: every notice in order.
class TRecordingLink : public TDataLink {
public:
    Log Notes;

protected:
    void ActiveChanged() override { Notes.push_back(Active() ? "active" : "inactive"); }
    void DataSetChanged() override { Notes.emplace_back("changed"); }
    void DataSetScrolled(int distance) override { Notes.push_back("scrolled " + std::to_string(distance)); }
    void RecordChanged(TField* field) override
    {
        Notes.push_back("record " + (field ? field->FieldName().toStdString() : std::string("-")));
    }
    void EditingChanged() override { Notes.push_back(Editing() ? "editing" : "not editing"); }
    void LayoutChanged() override { Notes.emplace_back("layout"); }
};

// A control on a dataset through a source of its own.
struct TLinked {
    explicit TLinked(TDataSet* ds)
    {
        Source.SetDataSet(ds);
        Link.SetDataSource(&Source);
    }
    TDataSource Source;
    TRecordingLink Link;
};

QString ErrorText(const std::function<void()>& f)
{
    try {
        f();
    } catch (const Exception& e) {
        return e.Message();
    }
    return QStringLiteral("<no error>");
}

// The program forces decimal "," and no thousands separator; tests restore what was there.
class FormatGuard {
public:
    FormatGuard() : fSaved(FormatSettings)
    {
        FormatSettings.DecimalSeparator = u',';
        FormatSettings.ThousandSeparator = QChar();
        FormatSettings.DateSeparator = u'.';
        FormatSettings.ShortDateFormat = QStringLiteral("dd.MM.yyyy");
        FormatSettings.ShortTimeFormat = QStringLiteral("HH:mm:ss");
    }
    ~FormatGuard() { FormatSettings = fSaved; }

private:
    TFormatSettings fSaved;
};

}  // namespace

// ---------------------------------------------------------------- open, close, navigation

TEST(DataSet, EmptyResultHasEofAndBofAndKeepsItsFields)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(0);
    HookEvents(*ds, log);
    ds->Open();
    EXPECT_TRUE(ds->Active());
    EXPECT_EQ(ds->State(), dsBrowse);
    EXPECT_TRUE(ds->Eof());
    EXPECT_TRUE(ds->Bof());
    EXPECT_TRUE(ds->IsEmpty());
    EXPECT_EQ(ds->RecordCount(), 0);
    EXPECT_EQ(ds->RecNo(), 0);
    EXPECT_EQ(ds->Fields().Count(), 4);
    EXPECT_TRUE(ds->FieldByName(QStringLiteral("wert"))->IsNull());
    EXPECT_EQ(ds->FieldByName(QStringLiteral("WERT"))->AsFloat(), 0.0);
    // No row: no scroll after open, and moves do nothing.
    EXPECT_EQ(log, (Log{"BeforeOpen", "AfterOpen"}));
    EXPECT_EQ(ds->MoveBy(3), 0);
    ds->Next();
    ds->Prior();
    EXPECT_EQ(log.size(), 2u);
    ds->Last();
    EXPECT_TRUE(ds->Eof() && ds->Bof());
    EXPECT_NE(ErrorText([&] { ds->Delete(); }).indexOf(QStringLiteral("empty dataset")), -1);
    // Edit of an empty dataset becomes an insert; its cancel leaves it empty.
    ds->Edit();
    EXPECT_EQ(ds->State(), dsInsert);
    ds->Cancel();
    EXPECT_TRUE(ds->IsEmpty());
    EXPECT_TRUE(ds->Eof() && ds->Bof());
    ds->Close();
    EXPECT_FALSE(ds->Active());
    EXPECT_EQ(ds->State(), dsInactive);
    // Default fields belong to one opening.
    EXPECT_EQ(ds->Fields().Count(), 0);
}

TEST(DataSet, WalksForwardAndBackAndStopsAtTheEnds)
{
    auto ds = MakeTable(5);
    ds->Open();
    TField* id = ds->FieldByName(QStringLiteral("ID"));
    EXPECT_TRUE(ds->Bof());
    EXPECT_FALSE(ds->Eof());
    EXPECT_EQ(id->AsInteger(), 1);
    EXPECT_EQ(ds->RecNo(), 1);
    std::vector<int> seen;
    while (!ds->Eof()) {
        seen.push_back(id->AsInteger());
        ds->Next();
    }
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 3, 4, 5}));
    // At the end the last row stays readable.
    EXPECT_EQ(id->AsInteger(), 5);
    EXPECT_EQ(ds->RecNo(), 5);
    ds->Prior();
    EXPECT_FALSE(ds->Eof());
    EXPECT_EQ(id->AsInteger(), 4);

    // MoveBy across an end answers the distance really moved.
    ds->First();
    EXPECT_EQ(ds->MoveBy(10), 4);
    EXPECT_TRUE(ds->Eof());
    EXPECT_EQ(id->AsInteger(), 5);
    EXPECT_EQ(ds->MoveBy(-2), -2);
    EXPECT_EQ(id->AsInteger(), 3);
    EXPECT_FALSE(ds->Eof() || ds->Bof());
    EXPECT_EQ(ds->MoveBy(-7), -2);
    EXPECT_TRUE(ds->Bof());
    EXPECT_EQ(id->AsInteger(), 1);
    EXPECT_EQ(ds->MoveBy(2), 2);
    EXPECT_EQ(id->AsInteger(), 3);

    ds->Last();
    EXPECT_TRUE(ds->Eof());
    EXPECT_FALSE(ds->Bof());
    EXPECT_EQ(id->AsInteger(), 5);
    ds->SetRecNo(2);
    EXPECT_EQ(id->AsInteger(), 2);
    EXPECT_FALSE(ds->Eof() || ds->Bof());
    EXPECT_EQ(ds->RecordCount(), 5);

    // Scroll events only where the cursor can move: the step that finds the end
    // has them, a step at Eof has none.
    Log log;  // outlives the dataset, whose closing it records
    HookEvents(*ds, log);
    ds->SetRecNo(4);
    log.clear();
    ds->Next();
    ds->Next();
    EXPECT_EQ(log, (Log{"BeforeScroll", "AfterScroll", "BeforeScroll", "AfterScroll"}));
    EXPECT_TRUE(ds->Eof());
    log.clear();
    ds->Next();
    ds->MoveBy(5);
    EXPECT_TRUE(log.empty());
    // After a failed move the derived cursor is put back before the next one.
    const int before = ds->SetToRecordCalls;
    ds->Prior();
    EXPECT_GT(ds->SetToRecordCalls, before);
    EXPECT_EQ(id->AsInteger(), 4);
}

// The load loop's walk: one read per row forward through the swapped buffers, the
// cursor never put back, and controls told once at the end.
TEST(DataSet, AForwardWalkReadsEachRowOnceAndNeverPutsTheCursorBack)
{
    constexpr int rows = 20000;
    auto ds = MakeTable(rows);
    TLinked view(ds.get());
    ds->Open();
    TField* id = ds->FieldByName(QStringLiteral("ID"));
    TField* wert = ds->FieldByName(QStringLiteral("WERT"));
    ds->DisableControls();
    int n = 0;
    bool exact = true;
    for (; !ds->Eof(); ds->Next()) {
        ++n;
        exact = exact && id->AsInteger() == n && wert->AsFloat() == n * 1.5;
    }
    ds->EnableControls();
    EXPECT_EQ(n, rows);
    EXPECT_TRUE(exact);
    EXPECT_EQ(ds->SetToRecordCalls, 0);
    EXPECT_LE(ds->GetRecordCalls, rows + 2);
    EXPECT_EQ(view.Link.Notes.back(), "changed");
}

TEST(DataSet, OpenAndCloseFireTheirEventsAndCloseCancelsEdits)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(3);
    HookEvents(*ds, log);
    ds->Open();
    EXPECT_EQ(log, (Log{"BeforeOpen", "AfterOpen", "AfterScroll"}));
    ds->Edit();
    ds->FieldByName(QStringLiteral("NAME"))->SetAsString(QStringLiteral("neu"));
    log.clear();
    ds->Close();
    EXPECT_EQ(log, (Log{"BeforeCancel", "AfterCancel", "BeforeClose", "AfterClose"}));
    EXPECT_EQ(ds->Cell(0, 1).toString(), QStringLiteral("Anton"));
}

// ---------------------------------------------------------------- editing

TEST(DataSetEditing, InsertPostFiresEventsInOrderAndPlacesTheRow)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(3);
    ds->Open();
    ds->Next();  // on row 2
    HookEvents(*ds, log);
    ds->OnNewRecord = [&log](TDataSet* d) {
        log.emplace_back("OnNewRecord");
        EXPECT_EQ(d->State(), dsInsert);
        d->FieldByName(QStringLiteral("WERT"))->SetAsFloat(7.25);
    };
    ds->Insert();
    EXPECT_EQ(ds->State(), dsInsert);
    EXPECT_TRUE(ds->FieldByName(QStringLiteral("ID"))->IsNull());
    EXPECT_DOUBLE_EQ(ds->FieldByName(QStringLiteral("WERT"))->AsFloat(), 7.25);
    EXPECT_FALSE(ds->Modified());  // values from OnNewRecord are not a user change
    ds->FieldByName(QStringLiteral("ID"))->SetAsInteger(99);
    EXPECT_TRUE(ds->Modified());
    ds->Post();
    EXPECT_EQ(log, (Log{"BeforeInsert", "BeforeScroll", "OnNewRecord", "AfterInsert", "AfterScroll", "BeforePost",
                        "AfterPost"}));
    EXPECT_EQ(ds->State(), dsBrowse);
    EXPECT_EQ(ds->RecordCount(), 4);
    // Inserted before the row the cursor was on, and it is the cursor row now.
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 99);
    EXPECT_EQ(ds->RecNo(), 2);
    EXPECT_EQ(ds->Cell(1, 0).toInt(), 99);
    EXPECT_EQ(ds->Cell(2, 0).toInt(), 2);

    ds->Append();
    ds->FieldByName(QStringLiteral("ID"))->SetAsInteger(100);
    ds->Post();
    EXPECT_EQ(ds->RecNo(), 5);
    EXPECT_EQ(ds->Cell(4, 0).toInt(), 100);
}

TEST(DataSetEditing, EditPostStoresMovingPostsAndCancelRestores)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(3);
    ds->Open();
    TField* wert = ds->FieldByName(QStringLiteral("WERT"));
    // Writing outside an edit state is refused.
    EXPECT_EQ(ErrorText([&] { wert->SetAsFloat(1); }), QStringLiteral("Tab: Dataset not in edit or insert mode"));
    ds->Edit();
    wert->SetAsFloat(42.5);
    ds->Next();  // moving posts
    EXPECT_EQ(ds->State(), dsBrowse);
    EXPECT_DOUBLE_EQ(ds->Cell(0, 2).toDouble(), 42.5);
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 2);
    // An edit without changes is cancelled by a move, not posted.
    HookEvents(*ds, log);
    ds->Edit();
    ds->Next();
    EXPECT_EQ(log, (Log{"BeforeEdit", "AfterEdit", "BeforeCancel", "AfterCancel", "BeforeScroll", "AfterScroll"}));

    wert->SetReadOnly(true);
    ds->Edit();
    EXPECT_EQ(ErrorText([&] { wert->SetAsFloat(1); }), QStringLiteral("Field 'WERT' cannot be modified"));
    ds->Cancel();
    wert->SetReadOnly(false);

    ds->FieldByName(QStringLiteral("NAME"))->SetRequired(true);
    ds->Edit();
    ds->FieldByName(QStringLiteral("NAME"))->Clear();
    EXPECT_EQ(ErrorText([&] { ds->Post(); }), QStringLiteral("Field 'NAME' must have a value"));
    EXPECT_EQ(ds->State(), dsEdit);
    ds->Cancel();

    // Cancel restores the row and the position.
    ds->Prior();
    TField* name = ds->FieldByName(QStringLiteral("NAME"));
    log.clear();
    ds->Edit();
    EXPECT_EQ(ds->State(), dsEdit);
    name->SetAsString(QStringLiteral("geändert"));
    EXPECT_EQ(name->AsString(), QStringLiteral("geändert"));
    EXPECT_EQ(ds->Cell(1, 1).toString(), QStringLiteral("berta"));  // not stored before Post
    ds->Cancel();
    EXPECT_EQ(log, (Log{"BeforeEdit", "AfterEdit", "BeforeCancel", "AfterCancel"}));
    EXPECT_EQ(name->AsString(), QStringLiteral("berta"));
    EXPECT_EQ(ds->RecNo(), 2);
    // A cancelled insert returns to the row it started from.
    ds->Last();
    ds->Insert();
    ds->FieldByName(QStringLiteral("ID"))->SetAsInteger(50);
    ds->Cancel();
    EXPECT_EQ(ds->RecordCount(), 3);
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 3);
}

TEST(DataSetEditing, DeleteAndTheErrorEventsRetryAbortOrFail)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(3);
    ds->Open();
    ds->Next();
    HookEvents(*ds, log);
    ds->Delete();
    EXPECT_EQ(log, (Log{"BeforeDelete", "BeforeScroll", "AfterDelete", "AfterScroll"}));
    EXPECT_EQ(ds->RecordCount(), 2);
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 3);
    ds->Delete();  // the last row: the one before takes its place
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 1);
    ds->Delete();
    EXPECT_TRUE(ds->IsEmpty());
    EXPECT_TRUE(ds->Eof() && ds->Bof());

    auto t = MakeTable(1);
    t->Open();
    int calls = 0;
    t->OnPostError = [&calls](TDataSet*, Exception& e, TDataAction& action) {
        ++calls;
        EXPECT_EQ(e.Message(), QStringLiteral("post refused"));
        action = daRetry;
    };
    t->FailPosts = 2;
    t->Edit();
    t->FieldByName(QStringLiteral("WERT"))->SetAsFloat(3);
    t->Post();
    EXPECT_EQ(calls, 2);
    EXPECT_DOUBLE_EQ(t->Cell(0, 2).toDouble(), 3.0);

    t->OnPostError = [](TDataSet*, Exception&, TDataAction& action) { action = daAbort; };
    t->FailPosts = 1;
    t->Edit();
    t->FieldByName(QStringLiteral("WERT"))->SetAsFloat(4);
    EXPECT_THROW(t->Post(), EAbort);
    EXPECT_EQ(t->State(), dsEdit);
    t->OnPostError = nullptr;
    t->FailPosts = 1;
    EXPECT_THROW(t->Post(), EDatabaseError);
    t->Post();
    EXPECT_DOUBLE_EQ(t->Cell(0, 2).toDouble(), 4.0);
}

// ---------------------------------------------------------------- locate, lookup, bookmarks

TEST(DataSetSearch, LocateHonoursItsOptionsAndKeepsThePositionWhenNotFound)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(12);
    ds->Open();
    TField* id = ds->FieldByName(QStringLiteral("ID"));
    ds->MoveBy(2);  // ID 3
    HookEvents(*ds, log);
    EXPECT_FALSE(ds->Locate(QStringLiteral("NAME"), QStringLiteral("dora"), {}));
    EXPECT_EQ(id->AsInteger(), 3);
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(ds->Locate(QStringLiteral("NAME"), QStringLiteral("dora"), loCaseInsensitive));
    EXPECT_EQ(id->AsInteger(), 4);
    EXPECT_EQ(log, (Log{"BeforeScroll", "AfterScroll"}));
    EXPECT_FALSE(ds->Locate(QStringLiteral("NAME"), QStringLiteral("Fried"), {}));
    EXPECT_TRUE(ds->Locate(QStringLiteral("NAME"), QStringLiteral(" fried "), loCaseInsensitive | loPartialKey));
    EXPECT_EQ(id->AsInteger(), 6);
    // Two fields split at ";": the second "Anton" row.
    EXPECT_TRUE(ds->Locate(QStringLiteral("NAME; WERT"), QVariantList{QStringLiteral("Anton"), 10.5}, {}));
    EXPECT_EQ(id->AsInteger(), 7);
    EXPECT_TRUE(ds->Locate(QStringLiteral("ID"), 12, {}));
    EXPECT_EQ(ds->RecNo(), 12);
    // Not found from the last row: still the last row, and moving on works.
    EXPECT_FALSE(ds->Locate(QStringLiteral("ID"), 13, {}));
    EXPECT_EQ(id->AsInteger(), 12);
    ds->Prior();
    EXPECT_EQ(id->AsInteger(), 11);
    EXPECT_EQ(ErrorText([&] { ds->Locate(QStringLiteral("ID;GIBTS"), QVariantList{1, 2}, {}); }),
              QStringLiteral("Field \"GIBTS\" not found."));

    // Lookup neither moves nor notifies.
    ds->SetRecNo(2);
    TLinked view(ds.get());
    view.Link.Notes.clear();
    log.clear();
    EXPECT_EQ(ds->Lookup(QStringLiteral("ID"), 5, QStringLiteral("NAME")).toString(), QStringLiteral("emil"));
    const QVariant both = ds->Lookup(QStringLiteral("NAME"), QStringLiteral("Cäsar"), QStringLiteral("ID;WERT"));
    EXPECT_EQ(both.toList().value(0).toInt(), 3);
    EXPECT_DOUBLE_EQ(both.toList().value(1).toDouble(), 4.5);
    EXPECT_FALSE(ds->Lookup(QStringLiteral("ID"), 77, QStringLiteral("NAME")).isValid());
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(view.Link.Notes.empty());
    EXPECT_EQ(id->AsInteger(), 2);
    ds->Next();
    EXPECT_EQ(id->AsInteger(), 3);
}

TEST(DataSetSearch, BookmarksRoundTrip)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(8);
    ds->Open();
    ds->MoveBy(4);
    TBookmark mark = ds->GetBookmark();
    EXPECT_TRUE(ds->BookmarkValid(mark));
    ds->First();
    TBookmark first = ds->GetBookmark();
    EXPECT_LT(ds->CompareBookmarks(first, mark), 0);
    EXPECT_EQ(ds->CompareBookmarks(mark, mark), 0);
    ds->Last();
    HookEvents(*ds, log);
    ds->GotoBookmark(mark);
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 5);
    EXPECT_EQ(log, (Log{"BeforeScroll", "AfterScroll"}));
    EXPECT_FALSE(ds->Eof());
    ds->Next();
    EXPECT_EQ(ds->FieldByName(QStringLiteral("ID"))->AsInteger(), 6);
    ds->FreeBookmark(mark);
    EXPECT_TRUE(mark.isEmpty());
    EXPECT_FALSE(ds->BookmarkValid(mark));
    // No bookmark of a row that does not exist yet.
    ds->Insert();
    EXPECT_TRUE(ds->GetBookmark().isEmpty());
    ds->Cancel();
    // A bookmark of a deleted row is refused by the derived dataset.
    ds->Last();
    TBookmark last = ds->GetBookmark();
    ds->Delete();
    EXPECT_FALSE(ds->BookmarkValid(last));
    EXPECT_THROW(ds->GotoBookmark(last), EDatabaseError);
}

// ---------------------------------------------------------------- sources and links

TEST(DataLinks, ScrollsAndChangesReachControlsAsDifferentNotices)
{
    auto ds = MakeTable(4);
    TLinked view(ds.get());
    TDataSource& source = view.Source;
    TRecordingLink& link = view.Link;
    int dataChanges = 0, stateChanges = 0;
    TField* changedField = nullptr;
    source.OnDataChange = [&](TDataSource*, TField* f) {
        ++dataChanges;
        changedField = f;
    };
    source.OnStateChange = [&](TComponent*) { ++stateChanges; };
    EXPECT_FALSE(link.Active());
    ds->Open();
    EXPECT_TRUE(link.Active());
    EXPECT_EQ(link.Notes, (Log{"active"}));
    link.Notes.clear();
    ds->Next();
    ds->MoveBy(5);
    EXPECT_EQ(link.Notes, (Log{"scrolled 1", "scrolled 2"}));
    link.Notes.clear();
    ds->First();
    EXPECT_EQ(link.Notes, (Log{"changed"}));
    link.Notes.clear();
    ds->Edit();
    ds->FieldByName(QStringLiteral("NAME"))->SetAsString(QStringLiteral("x"));
    EXPECT_EQ(changedField, ds->FieldByName(QStringLiteral("NAME")));
    ds->Post();
    EXPECT_EQ(link.Notes, (Log{"editing", "record -", "record NAME", "not editing", "changed"}));
    EXPECT_GE(stateChanges, 3);  // open, edit, browse
    EXPECT_GE(dataChanges, 4);
    link.Notes.clear();
    // A disabled source shows an inactive dataset.
    source.SetEnabled(false);
    ds->Next();
    source.SetEnabled(true);
    EXPECT_EQ(link.Notes, (Log{"inactive", "active"}));
    link.Notes.clear();
    ds->Close();
    EXPECT_EQ(link.Notes, (Log{"inactive"}));
    // The dataset may go first; the source and link then see none.
    ds.reset();
    EXPECT_EQ(source.DataSet(), nullptr);
    EXPECT_EQ(link.DataSet(), nullptr);
}

TEST(DataLinks, AGridReadsAnyRowWithoutMovingTheCursorAndDisabledControlsHearOnce)
{
    Log log;  // outlives the dataset, whose closing it records
    auto ds = MakeTable(6);
    TLinked view(ds.get());
    TRecordingLink& link = view.Link;
    ds->Open();
    ds->MoveBy(2);
    link.Notes.clear();
    HookEvents(*ds, log);
    TField* id = ds->FieldByName(QStringLiteral("ID"));
    const int cursorRow = link.ActiveRecord();
    EXPECT_EQ(cursorRow, 2);
    std::vector<int> shown;
    for (int row = 0; row < link.RecordCount(); ++row) {
        link.SetActiveRecord(row);
        shown.push_back(id->AsInteger());
    }
    link.SetActiveRecord(cursorRow);
    EXPECT_EQ(shown, (std::vector<int>{1, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(link.Notes.empty());
    EXPECT_EQ(id->AsInteger(), 3);
    EXPECT_EQ(ds->RecNo(), 3);
    // While editing, the cursor row shows the pending value; other rows the stored ones.
    ds->Edit();
    id->SetAsInteger(30);
    link.SetActiveRecord(3);
    EXPECT_EQ(id->AsInteger(), 4);
    link.SetActiveRecord(2);
    EXPECT_EQ(id->AsInteger(), 30);
    ds->Cancel();
    // A write after reading another row still goes to the cursor row.
    ds->Edit();
    link.SetActiveRecord(5);
    id->SetAsInteger(33);
    EXPECT_EQ(id->AsInteger(), 33);
    ds->Post();
    EXPECT_EQ(ds->Cell(2, 0).toInt(), 33);
    EXPECT_EQ(ds->Cell(5, 0).toInt(), 6);
    ds->Edit();
    id->SetAsInteger(3);
    ds->Post();
    // A row that does not exist leaves the fields on the cursor row.
    link.SetActiveRecord(3);
    link.SetActiveRecord(99);
    EXPECT_EQ(id->AsInteger(), 3);
    ds->Next();
    EXPECT_EQ(id->AsInteger(), 4);

    // DisableControls nests and ends with one notice.
    link.Notes.clear();
    log.clear();
    ds->DisableControls();
    ds->DisableControls();
    ds->Next();
    ds->Last();
    ds->Edit();
    ds->FieldByName(QStringLiteral("ID"))->SetAsInteger(8);
    ds->Post();
    ds->EnableControls();
    EXPECT_TRUE(link.Notes.empty());
    EXPECT_TRUE(ds->ControlsDisabled());
    ds->EnableControls();
    EXPECT_FALSE(ds->ControlsDisabled());
    EXPECT_EQ(link.Notes, (Log{"changed"}));
    // Dataset events are not controls: they ran all the time.
    EXPECT_EQ(log.front(), "BeforeScroll");
    EXPECT_EQ(log.back(), "AfterPost");
    // Closed and reopened while disabled: the control learns of activity, once.
    link.Notes.clear();
    ds->DisableControls();
    ds->Close();
    ds->EnableControls();
    EXPECT_EQ(link.Notes, (Log{"inactive"}));
    // An extra Enable does not underflow.
    ds->EnableControls();
    EXPECT_FALSE(ds->ControlsDisabled());
}

// ---------------------------------------------------------------- fields

TEST(DataSetFields, PersistentFieldsBindByNameAndStay)
{
    auto ds = MakeTable(2);
    ds->SetName(QStringLiteral("Messdaten"));
    auto* wert = new TFloatField(ds.get(), QStringLiteral("MessdatenWERT"), QStringLiteral("WERT"));
    auto* id = new TIntegerField(ds.get(), QStringLiteral("MessdatenID"), QStringLiteral("ID"));
    ds->Open();
    // Only the program's fields exist; their column numbers come from the definitions.
    EXPECT_EQ(ds->Fields().Count(), 2);
    EXPECT_EQ(wert->FieldNo(), 3);
    EXPECT_EQ(id->FieldNo(), 1);
    EXPECT_EQ(ds->FindField(QStringLiteral("NAME")), nullptr);
    EXPECT_EQ(ErrorText([&] { ds->FieldByName(QStringLiteral("NAME")); }), QStringLiteral("Field \"NAME\" not found."));
    EXPECT_DOUBLE_EQ(wert->AsFloat(), 1.5);
    EXPECT_EQ(id->Index(), 1);
    ds->Close();
    EXPECT_EQ(ds->Fields().Count(), 2);
    EXPECT_EQ(ds->FieldByName(QStringLiteral("wert")), wert);

    // A persistent field without a column stops the open and leaves the dataset closed.
    auto* ghost = new TFloatField(ds.get(), QStringLiteral("MessdatenI_01"), QStringLiteral("I_01"));
    EXPECT_EQ(ErrorText([&] { ds->Open(); }), QStringLiteral("Field \"I_01\" not found."));
    EXPECT_FALSE(ds->Active());
    delete ghost;  // a field may go before its dataset
    EXPECT_EQ(ds->Fields().Count(), 2);
    // A field of the wrong kind for its column is refused, not read out of place.
    auto* wrong = new TStringField(ds.get(), QStringLiteral("MessdatenZEIT"), QStringLiteral("ZEIT"));
    EXPECT_NE(ErrorText([&] { ds->Open(); }).indexOf(QStringLiteral("Type mismatch for field 'ZEIT'")), -1);
    delete wrong;
    ds->Open();
    EXPECT_TRUE(ds->Active());
}

TEST(DataSetFields, ConversionsNullsAndRanges)
{
    FormatGuard guard;
    auto ds = MakeTable(2);
    ds->Open();
    TField* id = ds->FieldByName(QStringLiteral("ID"));
    TField* name = ds->FieldByName(QStringLiteral("NAME"));
    TField* wert = ds->FieldByName(QStringLiteral("WERT"));
    TField* zeit = ds->FieldByName(QStringLiteral("ZEIT"));
    EXPECT_EQ(id->DataType(), ftInteger);
    EXPECT_EQ(name->Size(), 20);
    EXPECT_EQ(wert->AsString(), QStringLiteral("1,5"));
    EXPECT_EQ(wert->Value(), QVariant(1.5));
    EXPECT_EQ(id->Value(), QVariant(1));
    EXPECT_EQ(zeit->AsString(), QStringLiteral("09.12.2025 06:00:00"));
    EXPECT_DOUBLE_EQ(zeit->AsDateTime(), 46000.25);
    EXPECT_EQ(zeit->Value().toDateTime(), QDateTime(QDate(2025, 12, 9), QTime(6, 0)));
    EXPECT_NE(ErrorText([&] { (void)name->AsFloat(); }).indexOf(QStringLiteral("Anton")), -1);

    ds->Edit();
    wert->SetAsString(QStringLiteral("2,75"));
    EXPECT_DOUBLE_EQ(wert->AsFloat(), 2.75);
    wert->SetValue(QVariant());
    EXPECT_TRUE(wert->IsNull());
    EXPECT_TRUE(wert->Value().isNull());
    EXPECT_EQ(wert->DisplayText(), QString());
    zeit->SetAsString(QStringLiteral("24.12.2025 18:30:00"));
    EXPECT_EQ(zeit->Value().toDateTime(), QDateTime(QDate(2025, 12, 24), QTime(18, 30)));
    name->SetValue(12);
    EXPECT_EQ(name->AsString(), QStringLiteral("12"));
    EXPECT_EQ(name->AsInteger(), 12);
    id->SetValue(QStringLiteral("17"));
    EXPECT_EQ(id->AsLargeInt(), 17);

    // A value above MaxValue is refused with the range in the text, the old value stays.
    auto* f = static_cast<TFloatField*>(wert);
    f->SetMaxValue(10000.0);
    wert->SetAsFloat(10000.0);
    EXPECT_EQ(ErrorText([&] { wert->SetAsFloat(10000.5); }),
              QStringLiteral("10000,5 is not a valid value for field 'WERT'. The allowed range is 0 to 10000"));
    EXPECT_DOUBLE_EQ(wert->AsFloat(), 10000.0);
    EXPECT_THROW(wert->SetAsString(QStringLiteral("-1")), EDatabaseError);
    // Integers keep to their type's range without limits of their own.
    EXPECT_THROW(id->SetAsLargeInt(qint64(1) << 40), EDatabaseError);
    static_cast<TIntegerField*>(id)->SetMaxValue(50);
    EXPECT_THROW(id->SetAsInteger(51), EDatabaseError);
    id->SetAsInteger(50);
    ds->Post();
    EXPECT_EQ(ds->Cell(0, 0).toInt(), 50);
}

TEST(DataSetFields, DisplayTextFollowsFormatsAndTheDecimalComma)
{
    FormatGuard guard;
    TMemDataSet ds;
    ds.AddColumn(QStringLiteral("ZEIT_STD"), ftFloat);
    ds.AddColumn(QStringLiteral("ZEITPUNKT"), ftDateTime);
    ds.AddColumn(QStringLiteral("STATUS"), ftSmallint);
    ds.AddColumn(QStringLiteral("FLAG"), ftBoolean);
    ds.AddColumn(QStringLiteral("DATEN"), ftBlob);
    const int r = ds.AddRow();
    ds.SetCell(r, 0, 1234.5678);
    ds.SetCell(r, 1, QDateTimeToDateTime(QDateTime(QDate(2024, 3, 7), QTime(9, 5, 3))));
    ds.SetCell(r, 2, 3);
    ds.SetCell(r, 3, 1);
    ds.SetCell(r, 4, QByteArray("\x01\x02", 2));
    ds.AddRow();  // all null
    ds.Open();
    auto* std_ = static_cast<TFloatField*>(ds.FieldByName(QStringLiteral("ZEIT_STD")));
    TField* zp = ds.FieldByName(QStringLiteral("ZEITPUNKT"));

    const std::pair<const char*, const char*> numbers[] = {
        {",0.00 ", "1234,57 "}, {",0.000", "1234,568"}, {"#,##0.0", "1234,6"}, {"0.00", "1234,57"},
        {"###0.00", "1234,57"}, {"#,##0.", "1235"},     {"0.0;(0.0)", "1234,6"}, {"", "1234,5678"},
    };
    for (const auto& [format, text] : numbers) {
        std_->SetDisplayFormat(QString::fromLatin1(format));
        EXPECT_EQ(std_->DisplayText(), QString::fromUtf8(text)) << format;
    }
    // With a thousands separator the "," of a pattern groups.
    FormatSettings.ThousandSeparator = u'.';
    std_->SetDisplayFormat(QStringLiteral(",0.00 "));
    EXPECT_EQ(std_->DisplayText(), QStringLiteral("1.234,57 "));
    FormatSettings.ThousandSeparator = QChar();
    EXPECT_EQ(FormatFloat(QStringLiteral("0.0;(0.0)"), -2.25), QStringLiteral("(2,3)"));
    EXPECT_EQ(FormatFloat(QStringLiteral("0.00"), -0.001), QStringLiteral("0,00"));
    EXPECT_EQ(FormatFloat(QStringLiteral("#.##"), 0.5), QStringLiteral(",5"));
    EXPECT_EQ(FormatFloat(QStringLiteral("0.00 \"µA\""), 2.5), QStringLiteral("2,50 µA"));
    EXPECT_EQ(FormatFloat(QStringLiteral("0;-0;\"null\""), 0.0), QStringLiteral("null"));

    // Edit text takes EditFormat, else the display format.
    std_->SetDisplayFormat(QStringLiteral("#,##0.0"));
    std_->SetEditFormat(QStringLiteral("0.0000"));
    EXPECT_EQ(std_->Text(), QStringLiteral("1234,5678"));
    // Without a format the display has Precision significant digits.
    std_->SetDisplayFormat(QString());
    std_->SetEditFormat(QString());
    std_->SetPrecision(3);
    EXPECT_EQ(std_->DisplayText(), QStringLiteral("1230"));
    EXPECT_EQ(std_->Text(), QStringLiteral("1234,5678"));
    // The shown digits are those of the value rounded as Qt rounds: an exact half away
    // from zero, also where the standard library would take the even digit.
    std::mt19937_64 random(11);
    for (int i = 0; i < 40000; ++i) {
        const double sign = (random() & 1) ? -1.0 : 1.0;
        const double v = (i % 2) ? sign * std::ldexp(double(random() % (1u << 22)), -int(random() % 24))
                                 : sign * std::ldexp(std::uniform_real_distribution<double>(0.5, 1.0)(random),
                                                     int(random() % 100) - 50);
        for (int digits : {2, 3, 8, 15})
            ASSERT_EQ(TFloatField::DigitsText(v, digits), FloatToStr(QString::number(v, 'g', digits).toDouble()))
                << v << " " << digits;
    }

    const std::pair<const char*, const char*> dates[] = {
        {"dd.mm.yyyy HH:mm:ss", "07.03.2024 09:05:03"}, {"dd.mm.yyyy hh:nn", "07.03.2024 09:05"},
        {"dd/mm hh:mm", "07.03 09:05"}, {"d.m.yy h:n:s.zzz", "7.3.24 9:5:3.000"}, {"", "07.03.2024 09:05:03"}};
    for (const auto& [format, text] : dates) {
        zp->SetDisplayFormat(QString::fromLatin1(format));
        EXPECT_EQ(zp->DisplayText(), QString::fromLatin1(text)) << format;
    }

    TField* status = ds.FieldByName(QStringLiteral("STATUS"));
    EXPECT_EQ(status->DisplayText(), QStringLiteral("3"));
    status->OnGetText = [](TField* f, QString& text, bool display) {
        text = display ? QStringLiteral("Status %1").arg(f->AsInteger()) : f->AsString();
    };
    EXPECT_EQ(status->DisplayText(), QStringLiteral("Status 3"));
    EXPECT_EQ(status->Text(), QStringLiteral("3"));
    EXPECT_EQ(ds.FieldByName(QStringLiteral("FLAG"))->DisplayText(), QStringLiteral("True"));
    EXPECT_EQ(ds.FieldByName(QStringLiteral("DATEN"))->DisplayText(), QStringLiteral("(BLOB)"));
    EXPECT_EQ(ds.FieldByName(QStringLiteral("DATEN"))->AsBytes(), QByteArray("\x01\x02", 2));

    ds.Next();  // the null row
    EXPECT_EQ(std_->DisplayText(), QString());
    EXPECT_EQ(zp->DisplayText(), QString());
    EXPECT_EQ(ds.FieldByName(QStringLiteral("FLAG"))->DisplayText(), QString());
    EXPECT_EQ(ds.FieldByName(QStringLiteral("DATEN"))->DisplayText(), QStringLiteral("(blob)"));
    EXPECT_EQ(status->DisplayText(), QStringLiteral("Status 0"));  // OnGetText decides alone
}

TEST(DataSetFields, ChangeEventsCalculatedFieldsAndTheRecordFilter)
{
    auto ds = MakeTable(6);
    auto* wert = new TFloatField(ds.get(), QStringLiteral("TabWERT"), QStringLiteral("WERT"));
    auto* name = new TStringField(ds.get(), QStringLiteral("TabNAME"), QStringLiteral("NAME"));
    auto* doppelt = new TFloatField(ds.get(), QStringLiteral("TabDOPPELT"), QStringLiteral("DOPPELT"));
    doppelt->SetFieldKind(fkCalculated);
    int calcs = 0;
    ds->OnCalcFields = [&](TDataSet* d) {
        ++calcs;
        EXPECT_EQ(d->State(), dsCalcFields);
        doppelt->SetAsFloat(wert->AsFloat() * 2);
    };
    ds->Open();
    EXPECT_DOUBLE_EQ(doppelt->AsFloat(), 3.0);
    ds->Next();
    EXPECT_DOUBLE_EQ(doppelt->AsFloat(), 6.0);
    EXPECT_EQ(ds->State(), dsBrowse);
    // A change of a data field recalculates, and OnChange sees the new value.
    double seen = 0;
    wert->OnChange = [&](TField* f) { seen = f->AsFloat(); };
    ds->Edit();
    wert->SetAsFloat(10);
    EXPECT_DOUBLE_EQ(seen, 10.0);
    EXPECT_DOUBLE_EQ(doppelt->AsFloat(), 20.0);
    ds->Cancel();
    EXPECT_DOUBLE_EQ(doppelt->AsFloat(), 6.0);
    EXPECT_GT(calcs, 0);

    // The working filter is OnFilterRecord; Filter and FilterOptions are kept.
    ds->SetFilter(QStringLiteral("NAME = 'A*'"));
    ds->SetFilterOptions(foCaseInsensitive);
    ds->OnFilterRecord = [&](TDataSet* d, bool& accept) {
        EXPECT_EQ(d->State(), dsFilter);
        accept = name->AsString().startsWith(u'A') || name->AsString().startsWith(u'D');
    };
    ds->SetFiltered(true);
    std::vector<QString> names;
    for (ds->First(); !ds->Eof(); ds->Next())
        names.push_back(name->AsString());
    EXPECT_EQ(names, (std::vector<QString>{QStringLiteral("Anton"), QStringLiteral("Dora")}));
    EXPECT_EQ(ds->Filter(), QStringLiteral("NAME = 'A*'"));
    EXPECT_EQ(ds->FilterOptions(), TFilterOptions(foCaseInsensitive));
    ds->SetFiltered(false);
    EXPECT_EQ(name->AsString(), QStringLiteral("Anton"));
    ds->Last();
    EXPECT_EQ(name->AsString(), QStringLiteral("Friedrich"));
}

// ---------------------------------------------------------------- more of the contract

TEST(DataSetContract, LookupFieldsAutoEditRefreshAndEditErrors)
{
    // A lookup field reads its value from another dataset by key.
    auto names = MakeTable(6);
    names->Open();
    TMemDataSet rows;
    rows.AddColumn(QStringLiteral("NAME_ID"), ftInteger);
    for (int i : {3, 9, 1}) {
        const int r = rows.AddRow();
        rows.SetCell(r, 0, i);
    }
    auto* key = new TIntegerField(&rows, QStringLiteral("RowsNAME_ID"), QStringLiteral("NAME_ID"));
    auto* text = new TStringField(&rows, QStringLiteral("RowsNAME"), QStringLiteral("NAME"));
    text->SetFieldKind(fkLookup);
    text->LookupDataSet = names.get();
    text->KeyFields = QStringLiteral("NAME_ID");
    text->LookupKeyFields = QStringLiteral("ID");
    text->LookupResultField = QStringLiteral("NAME");
    rows.Open();
    std::vector<QString> seen;
    for (; !rows.Eof(); rows.Next())
        seen.push_back(text->IsNull() ? QStringLiteral("<null>") : text->AsString());
    EXPECT_EQ(seen, (std::vector<QString>{QStringLiteral("Cäsar"), QStringLiteral("<null>"), QStringLiteral("Anton")}));
    EXPECT_EQ(names->RecNo(), 1);  // the looked-up dataset did not move
    rows.First();
    rows.Edit();
    key->SetAsInteger(5);
    EXPECT_EQ(text->AsString(), QStringLiteral("emil"));
    rows.Cancel();

    // AutoEdit lets a control start editing; without it the control stays read-only.
    TLinked view(&rows);
    view.Source.SetAutoEdit(false);
    EXPECT_FALSE(view.Link.Edit());
    EXPECT_EQ(rows.State(), dsBrowse);
    view.Source.SetAutoEdit(true);
    EXPECT_TRUE(view.Link.Edit());
    EXPECT_EQ(rows.State(), dsEdit);
    rows.Cancel();

    // Refresh re-reads the row the cursor stands on.
    Log log;
    HookEvents(rows, log);
    rows.Next();
    log.clear();
    rows.SetCell(1, 0, 4);
    rows.Refresh();
    EXPECT_EQ(log, (Log{"BeforeRefresh", "AfterRefresh"}));
    EXPECT_EQ(key->AsInteger(), 4);
    EXPECT_EQ(text->AsString(), QStringLiteral("Dora"));

    // An edit refused by the dataset goes to OnEditError; daFail passes it on.
    rows.SetReadOnlyRows(true);
    EXPECT_THROW(rows.Edit(), EDatabaseError);
    EXPECT_EQ(rows.State(), dsBrowse);
    int calls = 0;
    rows.OnEditError = [&](TDataSet*, Exception&, TDataAction& action) {
        ++calls;
        rows.SetReadOnlyRows(false);
        action = daRetry;
    };
    rows.Edit();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(rows.State(), dsEdit);
    rows.Cancel();
    rows.OnEditError = nullptr;
}

namespace {
// A detail that follows its master: reopened on every move of the master, closed with it.
class TFollowLink : public TDetailDataLink {
public:
    explicit TFollowLink(TMemDataSet* detail) : fDetail(detail) {}
    TDataSet* DetailDataSet() const override { return fDetail; }
    int Reopens = 0;

protected:
    void ActiveChanged() override
    {
        if (Active())
            Reopen();
        else
            fDetail->Close();
    }
    void DataSetChanged() override { Reopen(); }
    void DataSetScrolled(int) override { Reopen(); }

private:
    void Reopen()
    {
        ++Reopens;
        fDetail->Close();
        fDetail->Open();
        fDetail->SetRecNo(DataSet()->FieldByName(QStringLiteral("ID"))->AsInteger());
    }
    TMemDataSet* fDetail;
};
}  // namespace

TEST(DataSetContract, ADetailFollowsItsMasterThroughADetailLink)
{
    auto master = MakeTable(4);
    auto detail = MakeTable(4);
    TDataSource source;
    source.SetDataSet(master.get());
    TFollowLink link(detail.get());
    link.SetDataSource(&source);
    master->Open();
    EXPECT_TRUE(detail->Active());
    master->Next();
    master->Next();
    EXPECT_EQ(detail->FieldByName(QStringLiteral("ID"))->AsInteger(), 3);
    master->Last();
    EXPECT_EQ(detail->FieldByName(QStringLiteral("ID"))->AsInteger(), 4);
    EXPECT_EQ(link.Reopens, 4);
    master->Close();
    EXPECT_FALSE(detail->Active());
}
