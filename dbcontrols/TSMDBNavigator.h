#pragma once
// Four flat buttons that move a data source's dataset: first, prior, next, last.
// A button is enabled only where its move can go somewhere.

#include "dbaccess/DB.h"

#include <QToolButton>
#include <QWidget>
#include <array>

class TSMDBNavigator : public QWidget {
public:
    enum TNavigateBtn { nbFirst, nbPrior, nbNext, nbLast };

    explicit TSMDBNavigator(QWidget* parent = nullptr);
    ~TSMDBNavigator() override;

    TDataSource* DataSource() const { return fLink.DataSource(); }
    void SetDataSource(TDataSource* value);
    QToolButton* Button(TNavigateBtn which) const { return fButtons[which]; }
    // Does what the button does; a disabled button's move is not made.
    void BtnClick(TNavigateBtn which);

private:
    class TNavDataLink : public TDataLink {
    public:
        explicit TNavDataLink(TSMDBNavigator* nav) : fNav(nav) {}

    protected:
        void ActiveChanged() override { fNav->UpdateButtons(); }
        void DataSetChanged() override { fNav->UpdateButtons(); }
        void EditingChanged() override { fNav->UpdateButtons(); }

    private:
        TSMDBNavigator* fNav;
    };

    void UpdateButtons();
    TNavDataLink fLink{this};
    std::array<QToolButton*, 4> fButtons{};
};
