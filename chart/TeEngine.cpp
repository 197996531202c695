#include "chart/TeEngine.h"
#include "chart/TeeTranslate.h"

#include <algorithm>
#include <cmath>

// ========================================================= TChartValueList

TChartValueList::TChartValueList(TChartSeries* owner, const QString& name) : fOwner(owner), fName(name) {}

TChartValueList::~TChartValueList() = default;

void TChartValueList::Assign(const TChartValueList& source)
{
    fOrder = source.fOrder;
    fDateTime = source.fDateTime;
    fValueSource = source.fValueSource;
}

int TChartValueList::Count() const
{
    const int length = Capacity();
    if (fCount > length)
        throw EChartAssertion(QString(TeeMsg_ValuesCountTooBig).arg(fCount).arg(length));
    return fCount;
}

void TChartValueList::SetCount(int value)
{
    // The check looks at the present count, not the new one: a negative value
    // gets in once and only the next write fails.
    if (fCount < 0)
        throw EChartAssertion(TeeMsg_ValuesCountPositive);
    fCount = value;
    fOrderChecked = false;
    ++fStamp;
}

void TChartValueList::SetCountKeeping(int value, int kept)
{
    if (fCount < 0)
        throw EChartAssertion(TeeMsg_ValuesCountPositive);
    const int before = fCount;
    kept = std::max(0, std::min({kept, before, value, Capacity()}));
    const bool statsCurrent = !fModified && kept == before;
    const bool orderCurrent = fOrderChecked && fAscending && fOrderCount >= kept && kept > 0;
    const bool indexCurrent = fRangeIndex && fRangeIndex->BuiltAt(fStamp) && kept > 0;
    fCount = value;
    ++fStamp;
    const TChartValue* v = Data();
    const int count = std::min(fCount, Capacity());
    if (orderCurrent) {
        bool ascending = true;
        for (int i = kept; i < count && ascending; ++i)
            ascending = v[i] >= v[i - 1];
        fAscending = ascending;
        fOrderData = v;
        fOrderCount = count;
    } else {
        fOrderChecked = false;
    }
    if (indexCurrent) {
        fRangeIndex->Extend(v, count, kept);
        fRangeIndex->SetStamp(fStamp);
    }
    if (statsCurrent) {
        RecalcStats(kept);
    } else if (!fModified) {
        fModified = true;
        if (fOwner)
            fOwner->NotifyValue(veModify, -1);
    }
}

bool TChartValueList::InAscendingOrder() const
{
    const TChartValue* v = Data();
    const int count = std::min(fCount, Capacity());
    if (fOrderChecked && fOrderData == v && fOrderCount == count)
        return fAscending;
    bool ascending = true;
    for (int i = 1; i < count && ascending; ++i)
        ascending = v[i] >= v[i - 1];   // a NaN breaks the order too
    fAscending = ascending;
    fOrderData = v;
    fOrderCount = count;
    fOrderChecked = true;
    return ascending;
}

const TValueRangeIndex& TChartValueList::RangeIndex() const
{
    if (!fRangeIndex)
        fRangeIndex = std::make_unique<TValueRangeIndex>();
    const int count = std::min(fCount, Capacity());
    if (!fRangeIndex->BuiltFor(Data(), count, fStamp)) {
        fRangeIndex->Build(Data(), count);
        fRangeIndex->SetStamp(fStamp);
    }
    return *fRangeIndex;
}

void TChartValueList::TakeFactsOf(const TChartValueList& other)
{
    if (&other == this || !Value || other.Value != Value || other.fCount != fCount || fCount > Capacity())
        return;
    if (!other.fModified) {
        fMinValue = other.fMinValue;
        fMaxValue = other.fMaxValue;
        fTotal = other.fTotal;
        fTotalABS = other.fTotalABS;
        fTotalsCount = other.fTotalsCount;
        fModified = false;
    }
    if (other.fOrderChecked && other.fOrderData == Data() && other.fOrderCount == fCount) {
        fAscending = other.fAscending;
        fOrderData = other.fOrderData;
        fOrderCount = other.fOrderCount;
        fOrderChecked = true;
    }
}

void TChartValueList::SetModified(bool value)
{
    const bool tell = value && !fModified;
    fModified = value;
    if (value) {
        fOrderChecked = false;
        ++fStamp;
    }
    if (tell && fOwner)
        fOwner->NotifyValue(veModify, -1);
}

void TChartValueList::SetDateTime(bool v)
{
    if (v != fDateTime) {
        fDateTime = v;
        if (fOwner)
            fOwner->Repaint();
    }
}

void TChartValueList::Unshare()
{
    // An array handed over by the caller stays the caller's: growing takes a copy.
    if (Value && Value.use_count() > 1)
        Value = std::make_shared<TChartValues>(*Value);
}

void TChartValueList::Grow()
{
    const std::size_t length = Value ? Value->size() : 0;
    if (!Value || Value.use_count() > 1) {
        auto grown = std::make_shared<TChartValues>(length + 1000);
        if (Value)
            std::copy_n(Value->begin(), std::min<std::size_t>(length, std::max(fCount, 0)), grown->begin());
        Value = std::move(grown);
    } else {
        Value->resize(length + 1000);
    }
}

void TChartValueList::InsertChartValue(int index, TChartValue value)
{
    if (fCount >= Capacity())
        Grow();
    TChartValue* v = Value->data();
    // Tail moves up one entry, from the end.
    std::copy_backward(v + index, v + fCount, v + fCount + 1);
    v[index] = value;
    ++fCount;
    Changed();
}

int TChartValueList::AddChartValue(TChartValue value)
{
    TempValue = value;
    if (fOrder == loNone || fCount == 0) {
        InsertChartValue(fCount, value);
        return fCount - 1;
    }
    const TChartValue* v = Value->data();
    const TChartValue last = v[fCount - 1];
    if ((fOrder == loAscending && value >= last) || (fOrder == loDescending && value <= last)) {
        InsertChartValue(fCount, value);
        return fCount - 1;
    }
    // Scan back to the last entry the value may follow: equal values keep their arrival order.
    int i = fCount - 1;
    if (fOrder == loAscending)
        while (i >= 0 && v[i] > value)
            --i;
    else
        while (i >= 0 && v[i] < value)
            --i;
    InsertChartValue(i + 1, value);
    return i + 1;
}

void TChartValueList::ClearValues()
{
    fCount = 0;
    Value.reset();
    Changed();
}

void TChartValueList::Delete(int index)
{
    if (index < 0 || index >= fCount)
        return;
    TChartValue* v = Value->data();
    std::copy(v + index + 1, v + fCount, v + index);
    --fCount;
    Changed();
}

void TChartValueList::Delete(int index, int quantity)
{
    if (!(fCount > index + quantity - 1))
        throw EChartAssertion(TeeMsg_DeleteQuantityLess);
    if (index < 0 || quantity < 1)
        return;
    const int n = std::min(fCount - index, quantity);
    TChartValue* v = Value->data();
    if (index + n < fCount)
        std::copy(v + index + n, v + fCount, v + index);
    fCount -= n;
    Changed();
}

int TChartValueList::Locate(TChartValue value, int first, int last) const
{
    if (first > last || !Value)
        return -1;
    first = std::max(first, 0);
    last = std::min(last, fCount - 1);
    const TChartValue* v = Value->data();
    for (int i = first; i <= last; ++i)
        if (v[i] == value)
            return i;
    return -1;
}

void TChartValueList::FillSequence()
{
    if (fCount > 0) {
        TChartValue* v = Value->data();
        for (int i = 0; i < fCount; ++i)
            v[i] = i;
    }
    SetModified(true);
    if (fOwner)
        fOwner->NotifyValue(veRefresh, -1);
}

void TChartValueList::Exchange(int a, int b)
{
    std::swap((*Value)[a], (*Value)[b]);
    Changed();
}

void TChartValueList::SetValue(int index, TChartValue value)
{
    if (!Value || index < 0 || index >= fCount)
        throw ChartException(QString(TeeMsg_ValuesListOutOfRange).arg(fName).arg(index).arg(fCount - 1));
    (*Value)[index] = value;
    Changed();
    if (fOwner)
        fOwner->NotifyValue(veModify, index);
}

int TChartValueList::CompareRows(int a, int b) const
{
    const TChartValue va = (*Value)[a], vb = (*Value)[b];
    int r;
    if (va < vb)
        r = -1;
    else if (va > vb)
        r = 1;
    else
        return a >= b ? 0 : -1;   // equal values: the earlier row stays in front
    return fOrder == loDescending ? -r : r;
}

void TChartValueList::Sort()
{
    if (fOrder == loNone || fCount < 2)
        return;
    auto exchange = [this](int a, int b) {
        if (fOwner)
            fOwner->SwapValueIndex(a, b);
        else
            Exchange(a, b);
    };
    // Quicksort over row indices; the pivot is followed through the exchanges,
    // since rows move in every column at once.
    std::vector<std::pair<int, int>> work{{0, fCount - 1}};
    while (!work.empty()) {
        auto [l, r] = work.back();
        work.pop_back();
        int i = l, j = r, pivot = l + (r - l) / 2;
        while (i <= j) {
            while (CompareRows(i, pivot) < 0)
                ++i;
            while (CompareRows(pivot, j) < 0)
                --j;
            if (i <= j) {
                if (i != j) {
                    exchange(i, j);
                    if (pivot == i)
                        pivot = j;
                    else if (pivot == j)
                        pivot = i;
                }
                ++i;
                --j;
            }
        }
        if (l < j)
            work.emplace_back(l, j);
        if (i < r)
            work.emplace_back(i, r);
    }
    Changed();
}

void TChartValueList::RecalcStats(int start)
{
    const int length = Capacity();
    if (fCount > length)
        fCount = length;   // repair a count that outran its array
    if (fCount < 1) {
        fMaxValue = fMinValue = fTotal = fTotalABS = 0;
        fTotalsCount = std::max(fCount, 0);
        fModified = false;
        return;
    }
    const TChartValue* v = Value->data();
    if (start == 0)
        fMinValue = fMaxValue = v[0];
    TChartValue mn = fMinValue, mx = fMaxValue;
    for (int i = std::max(start, 1); i < fCount; ++i) {
        const TChartValue x = v[i];
        if (x < mn)
            mn = x;
        else if (x > mx)
            mx = x;
    }
    fMinValue = mn;
    fMaxValue = mx;
    // The sums are a chain of additions each paint would wait for, and hardly ever
    // asked: they go on from the rows they had, or are made when asked.
    if (start > 0 && fTotalsCount == start)
        SumTotals(start);
    else
        fTotalsCount = -1;
    fModified = false;
}

void TChartValueList::SumTotals(int start)
{
    const TChartValue* v = Value->data();
    if (start == 0) {
        fTotal = v[0];
        fTotalABS = std::abs(v[0]);
    }
    TChartValue total = fTotal, totalAbs = fTotalABS;
    for (int i = std::max(start, 1); i < fCount; ++i) {
        total += v[i];
        totalAbs += std::abs(v[i]);
    }
    fTotal = total;
    fTotalABS = totalAbs;
    fTotalsCount = fCount;
}

TChartValue TChartValueList::MaxValue()
{
    if (fModified)
        RecalcStats(0);
    return fMaxValue;
}

TChartValue TChartValueList::MinValue()
{
    if (fModified)
        RecalcStats(0);
    return fMinValue;
}

TChartValue TChartValueList::Total()
{
    if (fModified)
        RecalcStats(0);
    if (fTotalsCount != fCount)
        SumTotals(0);
    return fTotal;
}

TChartValue TChartValueList::TotalABS()
{
    if (fModified)
        RecalcStats(0);
    if (fTotalsCount != fCount)
        SumTotals(0);
    return fTotalABS;
}

// ============================================================== TLabelsList

void TLabelsList::SetLabel(int index, const QString& text)
{
    if (index < 0)
        return;
    if (index >= Count())
        fItems.resize(index + 1);
    fItems[index] = text;
}

void TLabelsList::Insert(int index, const QString& text)
{
    if (index > Count())
        fItems.resize(index);
    fItems.insert(fItems.begin() + index, text);
}

void TLabelsList::Delete(int index, int quantity)
{
    if (index < 0 || index >= Count())
        return;
    const int n = std::min(quantity, Count() - index);
    fItems.erase(fItems.begin() + index, fItems.begin() + index + n);
}

void TLabelsList::Exchange(int a, int b)
{
    const int need = std::max(a, b) + 1;
    if (need > Count())
        fItems.resize(need);
    std::swap(fItems[a], fItems[b]);
}

bool TLabelsList::HasText() const
{
    return std::any_of(fItems.begin(), fItems.end(), [](const QString& s) { return !s.isEmpty(); });
}

// ====================================================== TCustomChartElement

TCustomChartElement::TCustomChartElement()
{
    fPen.OnChange = [this] { Repaint(); };
    fBrush.OnChange = [this] { Repaint(); };
}

TCustomChartElement::~TCustomChartElement() = default;

void TCustomChartElement::SetActive(bool value)
{
    if (value != fActive) {
        fActive = value;
        Repaint();
    }
}

void TCustomChartElement::Repaint()
{
    if (fParentChart)
        fParentChart->Invalidate();
}

void TCustomChartSeries::SetTitle(const QString& v)
{
    if (v == fTitle)
        return;
    fTitle = v;
    if (fParentChart)
        fParentChart->BroadcastSeriesEvent(static_cast<TChartSeries*>(this), seChangeTitle);
    Repaint();
}

// ============================================================= TChartSeries

TChartSeries::TChartSeries()
    : fX(std::make_unique<TChartValueList>(this, QStringLiteral("X"))),
      fY(std::make_unique<TChartValueList>(this, QStringLiteral("Y")))
{
    fX->SetOrder(loAscending);
    fValueLists = {fX.get(), fY.get()};
}

TChartSeries::~TChartSeries()
{
    if (fParentChart)
        fParentChart->RemoveSeries(this);
}

TChartValueList* TChartSeries::ValuesList(const QString& name) const
{
    for (TChartValueList* l : fValueLists)
        if (l->Name().compare(name, Qt::CaseInsensitive) == 0)
            return l;
    return nullptr;
}

void TChartSeries::SetSeriesColor(TColor value)
{
    if (value == fColor)
        return;
    fColor = value;
    if (fParentChart)
        fParentChart->BroadcastSeriesEvent(this, seChangeColor);
    Repaint();
}

TColor TChartSeries::ValueColor(int index) const
{
    TColor c = clTeeColor;
    if (fColors && index >= 0 && index < int(fColors->size()))
        c = (*fColors)[index];
    if (c == clTeeColor)
        return fColorEachPoint ? TCustomAxisPanel::GetDefaultColor(index) : SeriesColor();
    return c;
}

void TChartSeries::SetActive(bool value)
{
    if (value == fActive)
        return;
    fActive = value;
    if (fParentChart)
        fParentChart->BroadcastSeriesEvent(this, seChangeActive);
    Repaint();
}

void TChartSeries::SetParentChart(TCustomAxisPanel* value)
{
    if (value == fParentChart)
        return;
    if (fParentChart)
        fParentChart->RemoveSeries(this);
    if (value)
        value->AddSeries(this);   // sets fParentChart through the list
}

void TChartSeries::SetPen(const TTeePen& value)
{
    fPen.Assign(value);
}

void TChartSeries::ResolveAxes()
{
    if (!fParentChart) {
        fGetHorizAxis = fGetVertAxis = nullptr;
        return;
    }
    switch (fHorizAxis) {
    case aTopAxis: fGetHorizAxis = fParentChart->TopAxis(); break;
    case aCustomHorizAxis:
        fGetHorizAxis = fCustomHorizAxis ? fCustomHorizAxis : fParentChart->BottomAxis();
        break;
    default: fGetHorizAxis = fParentChart->BottomAxis(); break;
    }
    switch (fVertAxis) {
    case aRightAxis: fGetVertAxis = fParentChart->RightAxis(); break;
    case aCustomVertAxis:
        fGetVertAxis = fCustomVertAxis ? fCustomVertAxis : fParentChart->LeftAxis();
        break;
    default: fGetVertAxis = fParentChart->LeftAxis(); break;
    }
}

void TChartSeries::SetHorizAxis(THorizAxis v)
{
    fHorizAxis = v;
    if (v != aCustomHorizAxis && !(fParentChart && fParentChart->Loading()))
        fCustomHorizAxis = nullptr;
    ResolveAxes();
    Repaint();
}

void TChartSeries::SetVertAxis(TVertAxis v)
{
    fVertAxis = v;
    if (v != aCustomVertAxis && !(fParentChart && fParentChart->Loading()))
        fCustomVertAxis = nullptr;
    ResolveAxes();
    Repaint();
}

void TChartSeries::SetCustomHorizAxis(TChartAxis* axis)
{
    fCustomHorizAxis = axis;
    fHorizAxis = axis ? aCustomHorizAxis : aBottomAxis;
    ResolveAxes();
    Repaint();
}

void TChartSeries::SetCustomVertAxis(TChartAxis* axis)
{
    fCustomVertAxis = axis;
    fVertAxis = axis ? aCustomVertAxis : aLeftAxis;
    ResolveAxes();
    Repaint();
}

bool TChartSeries::AssociatedToAxis(const TChartAxis* axis) const
{
    if (!UseAxis())
        return false;
    if (axis->Horizontal())
        return fHorizAxis == aBothHorizAxis || fGetHorizAxis == axis;
    return fVertAxis == aBothVertAxis || fGetVertAxis == axis;
}

void TChartSeries::CalcHorizMargins(int& leftMargin, int& rightMargin)
{
    leftMargin = 0;
    rightMargin = 0;
}

void TChartSeries::CalcVerticalMargins(int& topMargin, int& bottomMargin)
{
    topMargin = 0;
    bottomMargin = 0;
}

void TChartSeries::AssignValues(const TChartSeries& source)
{
    const int n = source.Count();
    BeginUpdate();
    for (int i = 0; i < n; ++i) {
        const TColor c = source.fColors && i < int(source.fColors->size()) ? (*source.fColors)[i] : clTeeColor;
        AddXY(source.XValue(i), source.YValue(i), source.fLabels.Label(i), c);
    }
    EndUpdate();
}

void TChartSeries::AssignFormat(const TChartSeries& source)
{
    fColor = source.fColor;
    fColorEachPoint = source.fColorEachPoint;
    fPen.Assign(source.fPen);
    fBrush.Assign(source.fBrush);
    ValueFormat = source.ValueFormat;
    PercentFormat = source.PercentFormat;
    fTreatNulls = source.fTreatNulls;
    Repaint();
}

TAxisLabelStyle TChartSeries::GetDefaultLabelStyle(const TChartAxis* axis) const
{
    // The axis of the mandatory values shows values; the other one texts if there are any.
    const bool valueAxis = fYMandatory ? !axis->Horizontal() : axis->Horizontal();
    if (valueAxis)
        return talValue;
    return fLabels.HasText() ? talText : talValue;
}

void TChartSeries::ClearLists()
{
    for (TChartValueList* l : fValueLists)
        l->ClearValues();
    fColors.reset();
    fLabels.Clear();
    if (fMarks)
        fMarks->Positions.clear();
}

TSeriesMarks& TChartSeries::Marks()
{
    if (!fMarks) {
        fMarks = std::make_unique<TSeriesMarks>();
        fMarks->Font.OnChange = [this] { Repaint(); };
    }
    return *fMarks;
}

QString TChartSeries::GetMarkText(int valueIndex) const
{
    QString text = fLabels.Label(valueIndex);
    if (text.isEmpty())
        text = TeeFormatFloat(ValueFormat, (*MandatoryValueList())[valueIndex]);
    if (OnGetMarkText)
        OnGetMarkText(const_cast<TChartSeries*>(this), valueIndex, text);
    return text;
}

void TChartSeries::DrawMark(int valueIndex, const QString& text)
{
    TTeeCanvas* c = fParentChart ? fParentChart->Canvas() : nullptr;
    if (!c || text.isEmpty())
        return;
    int x = CalcXPos(valueIndex), y = CalcYPos(valueIndex);
    if (fMarks && valueIndex < int(fMarks->Positions.size()) && fMarks->Positions[valueIndex] != TPoint{}) {
        x = fMarks->Positions[valueIndex].X;
        y = fMarks->Positions[valueIndex].Y;
    }
    c->AssignFont(fMarks ? fMarks->Font : TTeeFont());
    c->SetBackMode(cbmTransparent);
    c->SetTextAlign(TA_CENTER | TA_BOTTOM);
    c->TextOut(x, y - 2, text);
}

void TChartSeries::DrawMarks()
{
    if (!fMarks || !fMarks->Visible)
        return;
    for (int i = std::max(0, fFirstVisibleIndex); i <= fLastVisibleIndex; ++i)
        if (!IsNull(i))
            DrawMark(i, GetMarkText(i));
}

void TChartSeries::DoAfterDrawValues()
{
    if (AfterDrawValues)
        AfterDrawValues(this);
}

void TChartSeries::DoBeforeDrawValues()
{
    if (BeforeDrawValues)
        BeforeDrawValues(this);
}

void TChartSeries::DrawAllValues()
{
    for (int i = fFirstVisibleIndex; i <= fLastVisibleIndex && i >= 0; ++i)
        DrawValue(i);
}

void TChartSeries::DrawLegendShape(TColor color, const TRect& rect)
{
    if (!fParentChart)
        return;
    TTeeCanvas* c = fParentChart->Canvas();
    c->Brush().SetColor(color);
    c->Brush().SetStyle(bsSolid);
    c->AssignVisiblePen(fPen);
    c->Rectangle(rect);
}

void TChartSeries::AddedValue(int valueIndex)
{
    if (OnAfterAdd)
        OnAfterAdd(this, valueIndex);
    NotifyValue(veAdd, valueIndex);
    if (fActive)
        Repaint();
}

void TChartSeries::InsertRowExtras(int row, const QString& text, TColor color)
{
    if (fColors) {
        fColors->insert(fColors->begin() + std::min<std::size_t>(row, fColors->size()), color);
    } else if (color != clTeeColor) {
        // The first own colour: every earlier row keeps the series colour.
        fColors = std::make_unique<std::vector<TColor>>(std::size_t(Count() - 1), clTeeColor);
        fColors->insert(fColors->begin() + row, color);
    }
    if (!text.isEmpty() || fLabels.Count() > 0)
        fLabels.Insert(row, text);
}

int TChartSeries::AddXY(TChartValue x, TChartValue y, const QString& text, TColor color)
{
    fX->TempValue = x;
    fY->TempValue = y;
    if (OnBeforeAdd && !OnBeforeAdd(this))
        return -1;
    const int row = fX->AddChartValue();
    for (std::size_t i = 1; i < fValueLists.size(); ++i)
        fValueLists[i]->InsertChartValue(row, fValueLists[i]->TempValue);
    InsertRowExtras(row, text, color);
    if (fUpdateCount == 0)
        AddedValue(row);
    return row;
}

int TChartSeries::Add(TChartValue value, const QString& text, TColor color)
{
    if (fYMandatory)
        return AddXY(fX->Count(), value, text, color);
    return AddXY(value, fY->Count(), text, color);
}

int TChartSeries::AddNull(const QString& text)
{
    return Add(DefaultNullValue, text, clNone);
}

int TChartSeries::AddNullXY(TChartValue x, TChartValue y, const QString& text)
{
    return AddXY(x, y, text, clNone);
}

void TChartSeries::ClearValues()
{
    fFirstVisibleIndex = -1;
    fLastVisibleIndex = -1;
    ClearLists();
    if (OnClearValues)
        OnClearValues(this);
    NotifyValue(veClear, -1);
    if (fActive && !(fParentChart && fParentChart->Destroying()))
        Repaint();
}

void TChartSeries::Delete(int valueIndex)
{
    const int count = Count();
    if (valueIndex < 0 || valueIndex >= count)
        throw ChartException(QString(TeeMsg_SeriesDeleteOutOfRange).arg(valueIndex).arg(count - 1));
    for (TChartValueList* l : fValueLists)
        l->Delete(valueIndex);
    if (fColors && valueIndex < int(fColors->size()))
        fColors->erase(fColors->begin() + valueIndex);
    fLabels.Delete(valueIndex);
    if (fMarks && valueIndex < int(fMarks->Positions.size()))
        fMarks->Positions.erase(fMarks->Positions.begin() + valueIndex);
    NotifyValue(veDelete, valueIndex);
    if (fActive)
        Repaint();
}

void TChartSeries::Delete(int valueIndex, int quantity, bool removeGap)
{
    if (quantity < 1)
        throw EChartAssertion(TeeMsg_DeleteQuantityPositive);
    const int count = Count();
    if (!(count > valueIndex + quantity - 1))
        throw EChartAssertion(TeeMsg_DeleteQuantityLess);
    if (valueIndex < 0)
        throw ChartException(QString(TeeMsg_SeriesDeleteOutOfRange).arg(valueIndex).arg(count - 1));
    quantity = std::min(quantity, count - valueIndex);
    for (TChartValueList* l : fValueLists)
        l->Delete(valueIndex, quantity);
    if (fColors) {
        if (valueIndex < int(fColors->size())) {
            const int n = std::min<int>(quantity, int(fColors->size()) - valueIndex);
            fColors->erase(fColors->begin() + valueIndex, fColors->begin() + valueIndex + n);
        }
        if (fColors->empty())
            fColors.reset();
    }
    fLabels.Delete(valueIndex, quantity);
    if (fMarks && valueIndex < int(fMarks->Positions.size())) {
        const int n = std::min<int>(quantity, int(fMarks->Positions.size()) - valueIndex);
        fMarks->Positions.erase(fMarks->Positions.begin() + valueIndex, fMarks->Positions.begin() + valueIndex + n);
    }
    if (removeGap)
        NotMandatoryValueList()->FillSequence();
    NotifyValue(veDelete, valueIndex);
    if (fActive)
        Repaint();
}

void TChartSeries::SwapValueIndex(int a, int b)
{
    for (TChartValueList* l : fValueLists)
        l->Exchange(a, b);
    if (fColors) {
        const int need = std::max(a, b) + 1;
        if (int(fColors->size()) < need)
            fColors->resize(need, clTeeColor);
        std::swap((*fColors)[a], (*fColors)[b]);
    }
    if (fLabels.Count() > 0)
        fLabels.Exchange(a, b);
}

void TChartSeries::EndUpdate()
{
    if (fUpdateCount <= 0)
        return;
    if (--fUpdateCount == 0) {
        NotifyValue(veRefresh, -1);
        if (fParentChart)
            fParentChart->BroadcastSeriesEvent(this, seDataChanged);
        Repaint();
    }
}

void TChartSeries::CheckOrder()
{
    bool done = false;
    TChartValueList* mandatory = MandatoryValueList();
    TChartValueList* notMandatory = NotMandatoryValueList();
    if (mandatory->Order() != loNone) {
        mandatory->Sort();
        if (notMandatory->ValueSource().isEmpty())
            notMandatory->FillSequence();
        done = true;
    }
    if (notMandatory->Order() != loNone) {
        notMandatory->Sort();
        done = true;
    }
    if (done)
        Repaint();
}

int TChartSeries::CalcXPos(int valueIndex) const
{
    return fGetHorizAxis ? fGetHorizAxis->CalcPosValue((*fX)[valueIndex]) : 0;
}

int TChartSeries::CalcYPos(int valueIndex) const
{
    return fGetVertAxis ? fGetVertAxis->CalcPosValue((*fY)[valueIndex]) : 0;
}

void TChartSeries::CalcFirstLastVisibleIndex()
{
    fFirstVisibleIndex = -1;
    fLastVisibleIndex = -1;
    const int count = Count();
    if (count == 0)
        return;
    TChartValueList* list = NotMandatoryValueList();
    TChartAxis* axis = fYMandatory ? fGetHorizAxis : fGetVertAxis;
    if (!fCalcVisiblePoints || list->Order() == loNone || !axis || !fParentChart) {
        fFirstVisibleIndex = 0;
        fLastVisibleIndex = count - 1;
        return;
    }
    const TRect& r = fParentChart->ChartRect();
    // Pixels of the low and the high value end of the plot rectangle.
    int p0 = axis->Horizontal() ? r.Left : r.Bottom;
    int p1 = axis->Horizontal() ? r.Right : r.Top;
    if (axis->Inverted())
        std::swap(p0, p1);
    if (axis->MinimumOffset() != 0 || axis->MaximumOffset() != 0) {
        // An offset of 1 moves nothing: the ends stay one pixel outside.
        const int dir = p1 >= p0 ? 1 : -1;
        p0 += dir * (axis->MinimumOffset() - 1);
        p1 -= dir * (axis->MaximumOffset() - 1);
    }
    const double low = axis->CalcPosPoint(p0);
    const double high = axis->CalcPosPoint(p1);
    const TChartValue* v = list->Data();
    // Rows that are in order are searched by halves: a zoom into a million rows
    // costs nothing. Rows handed over out of order get the plain walk, whose
    // answer is the one that counts; a search by halves would answer otherwise.
    const bool ascending = list->Order() == loAscending && list->InAscendingOrder();
    int first = 0;
    if (v[0] <= low) {
        if (ascending)
            first = int(std::lower_bound(v, v + count, low) - v);
        else
            while (first < count && v[first] < low)
                ++first;
        if (first >= count)
            return;
    }
    fFirstVisibleIndex = first;
    if (v[count - 1] <= high) {
        fLastVisibleIndex = count - 1;
        return;
    }
    int last = first;
    if (ascending)
        last = std::min(count - 1, int(std::lower_bound(v + first, v + count, high) - v));
    else
        while (last < count - 1 && v[last] < high)
            ++last;
    if (!fDrawBetweenPoints)
        while (last >= 1 && v[last] > high)
            --last;
    fLastVisibleIndex = last;
}

int TChartSeriesList::IndexOf(const TChartSeries* s) const
{
    const auto it = std::find(fItems.begin(), fItems.end(), s);
    return it == fItems.end() ? -1 : int(it - fItems.begin());
}

// ========================================================= TCustomAxisPanel

TCustomAxisPanel::TCustomAxisPanel(QWidget* parent) : TCustomTeePanelExtended(parent), fCustomAxes(this)
{
    fBottomAxis = std::make_unique<TChartAxis>(this, true, false);
    fTopAxis = std::make_unique<TChartAxis>(this, true, true);
    fLeftAxis = std::make_unique<TChartAxis>(this, false, false);
    fRightAxis = std::make_unique<TChartAxis>(this, false, true);
    fDepthAxis = std::make_unique<TChartAxis>(this, false, true);
    fDepthTopAxis = std::make_unique<TChartAxis>(this, false, false);
    fDepthAxis->IsDepthAxis = fDepthTopAxis->IsDepthAxis = true;
    fDepthAxis->SetVisible(false);
    fDepthTopAxis->SetVisible(false);
    fLeftAxis->Title().SetAngle(90);
    fRightAxis->Title().SetAngle(270);
    // Layout order: who takes the edge of the plot rectangle first.
    fAxes.fItems = {fLeftAxis.get(), fTopAxis.get(), fRightAxis.get(), fBottomAxis.get(),
                    fDepthAxis.get(), fDepthTopAxis.get()};
    fAxes.fBottom = fBottomAxis.get();
    fAxes.fLeft = fLeftAxis.get();
    fAxes.fTop = fTopAxis.get();
    fAxes.fRight = fRightAxis.get();
}

TCustomAxisPanel::~TCustomAxisPanel()
{
    fDestroying = true;
    for (TChartSeries* s : fSeriesList.fItems) {
        // The series outlive the chart; nothing of its axes may stay behind in them.
        s->fParentChart = nullptr;
        s->fCustomHorizAxis = nullptr;
        s->fCustomVertAxis = nullptr;
        s->ResolveAxes();
    }
    fSeriesList.fItems.clear();
}

void TCustomAxisPanel::AddSeries(TChartSeries* series)
{
    if (!series || fSeriesList.IndexOf(series) >= 0)
        return;
    if (series->ParentChart() && series->ParentChart() != this)
        series->ParentChart()->RemoveSeries(series);
    if (series->fColor == clTeeColor)
        series->SetAutoColor(GetFreeSeriesColor());
    fSeriesList.fItems.push_back(series);
    series->fParentChart = this;
    series->ResolveAxes();
    BroadcastSeriesEvent(series, seAdd);
    if (OnAddSeries)
        OnAddSeries(series);
    Invalidate();
}

void TCustomAxisPanel::RemoveSeries(TChartSeries* series)
{
    const int i = fSeriesList.IndexOf(series);
    if (i < 0)
        return;
    fSeriesList.fItems.erase(fSeriesList.fItems.begin() + i);
    BroadcastSeriesEvent(series, seRemove);
    if (OnRemoveSeries)
        OnRemoveSeries(series);
    series->fParentChart = nullptr;
    series->ResolveAxes();
    Invalidate();
}

void TCustomAxisPanel::ExchangeSeries(int a, int b)
{
    auto& items = fSeriesList.fItems;
    if (a == b || a < 0 || b < 0 || a >= int(items.size()) || b >= int(items.size()))
        return;
    std::swap(items[a], items[b]);
    BroadcastSeriesEvent(items[a], seSwap);
    Invalidate();
}

TColor TCustomAxisPanel::GetDefaultColor(int index)
{
    static constexpr TColor palette[] = {clRed,    clGreen,  clBlue, clFuchsia, clTeal,   clNavy,
                                         clMaroon, clOlive,  clPurple, clGray,  clLime,   clAqua,
                                         clBlack,  clSilver, clSkyBlue, clMoneyGreen, clMedGray, clYellow};
    constexpr int n = int(sizeof(palette) / sizeof(palette[0]));
    return palette[((index % n) + n) % n];
}

TColor TCustomAxisPanel::GetFreeSeriesColor() const
{
    for (int i = 0;; ++i) {
        const TColor c = GetDefaultColor(i);
        const bool used = std::any_of(fSeriesList.begin(), fSeriesList.end(),
                                      [c](const TChartSeries* s) { return s->SeriesColor() == c; });
        if (!used || i >= 17)
            return c;
    }
}

int TCustomAxisPanel::CountActiveSeries() const
{
    return int(std::count_if(fSeriesList.begin(), fSeriesList.end(), [](const TChartSeries* s) { return s->Active(); }));
}

void TCustomAxisPanel::Invalidate()
{
    if (fAutoRepaint)
        TCustomTeePanel::Invalidate();
}

void TCustomAxisPanel::BroadcastSeriesEvent(TChartSeries* series, TTeeSeriesEvent event)
{
    if (fListenersSilenced)
        return;
    for (const auto& l : fListeners)
        l(series, event);
}

void TCustomAxisPanel::AxisRemoved(TChartAxis* axis)
{
    for (TChartSeries* s : fSeriesList) {
        if (s->CustomHorizAxis() == axis)
            s->SetCustomHorizAxis(nullptr);
        if (s->CustomVertAxis() == axis)
            s->SetCustomVertAxis(nullptr);
    }
}

void TCustomAxisPanel::CalcAxisRect()
{
    for (TChartAxis* a : fAxes) {
        a->IAxisDateTime = a->IsDateTime();
        a->AdjustMaxMin();
    }
    for (TChartAxis* a : fAxes)
        a->InternalCalcPositions();
    const TRect start = fChartRect;
    TRect work = start;
    for (TChartAxis* a : fAxes) {
        if (!a->Visible() || a->IsDepthAxis)
            continue;
        TRect copy = work;
        a->CalcRect(copy);
        const TRect inter{std::max(copy.Left, work.Left), std::max(copy.Top, work.Top),
                          std::min(copy.Right, work.Right), std::min(copy.Bottom, work.Bottom)};
        if (inter.Left < inter.Right && inter.Top < inter.Bottom)
            work = copy;
    }
    fAxesWidthLeft = work.Left - start.Left;
    fAxesWidthRight = start.Right - work.Right;
    if (fMinAxesWidthLeft > fAxesWidthLeft)
        work.Left = std::min(start.Left + fMinAxesWidthLeft, work.Right - 1);
    if (fMinAxesWidthRight > fAxesWidthRight)
        work.Right = std::max(start.Right - fMinAxesWidthRight, work.Left + 1);
    SetChartRect(work);
    for (TChartAxis* a : fAxes) {
        a->InternalCalcPositions();
        if (a->Visible() && !a->IsDepthAxis)
            a->PlaceAtChartRect();
    }
}

void TCustomAxisPanel::SetMinAxesWidths(int left, int right)
{
    left = std::max(left, 0);
    right = std::max(right, 0);
    if (left != fMinAxesWidthLeft || right != fMinAxesWidthRight) {
        fMinAxesWidthLeft = left;
        fMinAxesWidthRight = right;
        Invalidate();
    }
}

void TCustomAxisPanel::CalcLayout()
{
    const bool painting = Drawing();
    const TRect kept = fChartRect;
    if (!painting) {
        fChartBounds = TRect{0, 0, width(), height()};
        SetChartRect(MarginRect(fChartBounds));
    }
    // Titles keep the place their last paint gave them (and narrowed to their text).
    TRect r = fChartRect;
    ReserveTitlesAndLegend(r, false);
    SetChartRect(r);
    CalcAxisRect();
    AxesMargins();
    // The paint under way lays out again from the rectangle its margins gave.
    if (painting)
        SetChartRect(kept);
}

void TCustomAxisPanel::AxesMargins()
{
    for (TChartAxis* a : fAxes)
        if (a->Automatic() || a->AutomaticMinimum() || a->AutomaticMaximum())
            a->AdjustMaxMinRect();
}

bool TCustomAxisPanel::IsAxisShown(const TChartAxis* axis) const
{
    if (!axis->Visible() || axis->IsDepthAxis)
        return false;
    // With curves on the chart, an axis that none of them uses stays away, so that
    // it neither draws nor takes the clicks meant for a custom axis on its side.
    bool anyUsesAxes = false;
    for (int i = 0; i < SeriesCount(); ++i) {
        const TChartSeries* s = Series(i);
        if (!s->Active() || !s->UseAxis())
            continue;
        if (s->AssociatedToAxis(axis))
            return true;
        anyUsesAxes = true;
    }
    return !anyUsesAxes;
}

void TCustomAxisPanel::DrawAxes()
{
    if (!fAxisVisible)
        return;
    Canvas()->BeginEntity(QStringLiteral("Axes"));
    if (OnBeforeDrawAxes)
        OnBeforeDrawAxes();
    for (TChartAxis* a : fAxes)
        if (IsAxisShown(a))
            a->Draw(true);
    Canvas()->EndEntity();
}

void TCustomAxisPanel::PanelPaint(const TRect& rect)
{
    TCanvas3D* c = Canvas();
    const TRect body = PanelBody(rect);
    auto fill = [c](const TRect& r, TColor color) {
        c->Brush().SetStyle(bsSolid);
        c->Brush().SetColor(color);
        c->FillRect(r);
    };
    // Shadow and emboss first: the body covers all of them but their offset edges.
    for (const TTeeShadow* s : {&fShadow, &fEmboss})
        if (s->Visible())
            fill(TRect{body.Left + s->HorizSize(), body.Top + s->VertSize(), body.Right + s->HorizSize(),
                       body.Bottom + s->VertSize()},
                 s->Color());
    if (fColor != clNone)
        fill(body, fColor);
    if (fGradient.Visible())
        c->GradientFill(body, fGradient);
    if (!BackImage.isNull() && !BackImageInside)
        DrawBackImage(body);
    TRect inner = body;
    if (Border.Visible()) {
        c->Brush().SetStyle(bsClear);
        c->AssignVisiblePen(Border);
        c->Rectangle(body);
        inner = TRect{body.Left + Border.Width(), body.Top + Border.Width(), body.Right - Border.Width(),
                      body.Bottom - Border.Width()};
    }
    // Raised: light above and left, dark below and right; lowered the other way round.
    auto bevel = [&](TPanelBevel kind, TRect& r) {
        if (kind == bvNone)
            return;
        if (kind != bvSpace) {
            const TColor light = kind == bvRaised ? clWhite : clGray;
            const TColor dark = kind == bvRaised ? clGray : clWhite;
            const int w = fBevelWidth;
            fill(TRect{r.Left, r.Top, r.Right, r.Top + w}, light);
            fill(TRect{r.Left, r.Top, r.Left + w, r.Bottom}, light);
            fill(TRect{r.Left, r.Bottom - w, r.Right, r.Bottom}, dark);
            fill(TRect{r.Right - w, r.Top + w, r.Right, r.Bottom}, dark);
        }
        r = TRect{r.Left + fBevelWidth, r.Top + fBevelWidth, r.Right - fBevelWidth, r.Bottom - fBevelWidth};
    };
    bevel(fBevelOuter, inner);
    bevel(fBevelInner, inner);
}

void TCustomAxisPanel::InternalDraw(const TRect& rect)
{
    // Series events raised by the drawing itself must not reach the listeners.
    const bool wasSilenced = fListenersSilenced;
    fListenersSilenced = true;
    struct Wake {
        TCustomAxisPanel* p;
        bool v;
        ~Wake() { p->fListenersSilenced = v; }
    } wake{this, wasSilenced};

    TCanvas3D* c = Canvas();
    PanelPaint(rect);
    if (OnBeforeDrawChart)
        OnBeforeDrawChart();
    for (TChartSeries* s : fSeriesList)
        if (s->Active())
            s->DoSeriesDraw();
    DrawTitlesAndLegend(true);
    CalcAxisRect();
    AxesMargins();
    DrawWalls();
    if (fAxisBehind)
        DrawAxes();
    if (OnBeforeDrawSeries)
        OnBeforeDrawSeries();
    for (TChartSeries* s : fSeriesList) {
        if (!s->Active())
            continue;
        s->CalcFirstLastVisibleIndex();
        if (s->FirstValueIndex() == -1)
            continue;
        if (fClipPoints) {
            const TRect& r = ChartRect();
            c->ClipRectangle(TRect{r.Left, r.Top - 1, r.Right, r.Bottom + 1});
        }
        c->BeginEntity(s->Title());
        s->DoBeforeDrawValues();
        s->PrepareForDraw();
        s->DrawAllValues();
        if (fClipPoints)
            c->UnClipRectangle();
        s->DrawMarks();
        s->DoAfterDrawValues();
        c->EndEntity();
    }
    if (!fAxisBehind)
        DrawAxes();
    DrawTitlesAndLegend(false);
    DrawZoomRectangle();
    if (OnAfterDraw)
        OnAfterDraw();
}
