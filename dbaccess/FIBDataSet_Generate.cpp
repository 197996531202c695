// Write statements made from the dataset's columns, keys from a generator, and the
// values a new row starts with.

#include "dbaccess/FIBDataSet_Internal.h"
#include "dbaccess/pFIBDataSet.h"
#include "frame/ZELBase.h"

#include <QRegularExpression>
#include <QUuid>
#include <cmath>

using namespace fibds;

namespace {
const QString CRLF = QStringLiteral("\r\n");

// A name as the dialect needs it: plain upper-case names stay plain, others are
// quoted in dialect 3; a quoted name stays as it is.
QString SqlName(const QString& name, int dialect)
{
    if (name.startsWith(u'"'))
        return name;
    static const QRegularExpression plain(QStringLiteral("^[A-Z][A-Z0-9_$]*$"));
    if (dialect >= 3 && !plain.match(name).hasMatch())
        return u'"' + QString(name).replace(u'"', QStringLiteral("\"\"")) + u'"';
    return dialect >= 3 ? name : name.toUpper();
}

QString Unquote(const QString& name)
{
    if (name.size() > 1 && name.startsWith(u'"') && name.endsWith(u'"'))
        return name.mid(1, name.size() - 2).replace(QStringLiteral("\"\""), QStringLiteral("\""));
    return name.toUpper();
}

bool IsNumericField(const TField* f)
{
    switch (f->DataType()) {
    case ftSmallint:
    case ftInteger:
    case ftWord:
    case ftLargeint:
    case ftAutoInc:
    case ftBCD:
    case ftFloat: return true;
    default: return false;
    }
}
}  // namespace

// ---- generated statements ----

QString TFIBCustomDataSet::GenerateSQLText(const QString& tableName, const QString& keyFields, TpSQLKind kind)
{
    static const char* const kindWords[] = {"UpdateSQL", "InsertSQL", "DeleteSQL", "RefreshSQL"};
    const int dialect = Database() ? Database()->SQLDialect() : 3;
    // "TABLE ALIAS" names the alias the select uses.
    QString table = tableName.trimmed();
    QString alias;
    if (tableName != fAutoUpdateOptions.UpdateTableName() || table.contains(u' ')) {
        const QStringList parts = table.split(u' ', Qt::SkipEmptyParts);
        if (parts.size() > 1) {
            table = parts.first();
            alias = parts.last();
        }
    }
    const QString relation = Unquote(table);
    const QString qualifier = alias.isEmpty() ? SqlName(table, dialect) : alias;
    LoadServerInfo();
    // Columns of the table, not computed, each once.
    QStringList columns;
    for (const TFIBFieldDescr& d : fDescr) {
        if (d.RelationName != relation || d.FieldName.isEmpty() || d.IsDBKey || columns.contains(d.FieldName))
            continue;
        if (fComputed.value(d.RelationName + u'.' + d.FieldName) && !(fPrepareOptions & psCanEditComputedFields))
            continue;
        columns << d.FieldName;
    }
    QStringList keys;
    for (const QString& k : keyFields.split(u';', Qt::SkipEmptyParts)) {
        const QString name = k.trimmed();
        TField* f = FindField(name);
        QString column = name.toUpper();
        if (f && f->FieldNo() > 0)
            column = fDescr[static_cast<std::size_t>(f->FieldNo() - 1)].FieldName;
        if (columns.contains(column))
            keys << column;
    }
    if (keys.isEmpty() || columns.isEmpty())
        RaiseClientErrorText(QStringLiteral("%s: unable to generate %s because fields for \"%s\" do not exist in dataset."),
                             {Name(), QString::fromLatin1(kindWords[kind]), tableName});
    QStringList cond;
    for (const QString& k : keys)
        cond << qualifier + u'.' + SqlName(k, dialect) + QStringLiteral("=?") + QStringLiteral("OLD_") + k;
    const QString where = cond.join(QStringLiteral(" and "));
    const QString target = SqlName(table, dialect);
    // Columns the server sends back from an insert or update, where it can.
    QString returning;
    const std::uint8_t wanted = fAutoUpdateOptions.UseReturningFields;
    if (wanted && Database() && Database()->IsFB21OrLater()) {
        QStringList back;
        for (const TFIBFieldDescr& d : fDescr) {
            if (d.RelationName != relation || !columns.contains(d.FieldName) || back.contains(SqlName(d.FieldName, dialect)))
                continue;
            if ((wanted & rfAll) || ((wanted & rfKeyFields) && keys.contains(d.FieldName))
                || ((wanted & rfBlobFields) && d.BlobIndex >= 0))
                back << SqlName(d.FieldName, dialect);
        }
        if (!back.isEmpty())
            returning = CRLF + QStringLiteral("RETURNING ") + back.join(u',');
    }

    switch (kind) {
    case sqlkModify: {
        QStringList sets;
        const TBuf* b = Active() ? Buf(ActiveBuffer()) : nullptr;
        const bool onlyChanged = fAutoUpdateOptions.UpdateOnlyModifiedFields && b && b->HasCopy && b->Row >= 0;
        for (int c = 0; c < static_cast<int>(fDescr.size()); ++c) {
            const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(c)];
            if (d.RelationName != relation || !columns.contains(d.FieldName))
                continue;
            if (onlyChanged && !ColumnChanged(b, c))
                continue;
            const QString line = QStringLiteral("     ") + SqlName(d.FieldName, dialect) + QStringLiteral("=?NEW_") + d.FieldName;
            if (!sets.contains(line))
                sets << line;
        }
        if (sets.isEmpty())
            return {};
        QString text = QStringLiteral("Update ") + target + u' ' + alias + QStringLiteral(" Set") + CRLF
                       + sets.join(u',' + CRLF) + CRLF + QStringLiteral("where ") + where;
        if (fAutoUpdateOptions.UseRowsClause)
            text += QStringLiteral(" ROWS 1");
        return text + returning;
    }
    case sqlkInsert: {
        QStringList names, values;
        for (const QString& c : columns) {
            names << SqlName(c, dialect);
            values << QStringLiteral("?NEW_") + c;
        }
        return QStringLiteral("Insert into ") + target + u'(' + names.join(u',') + u')' + CRLF + QStringLiteral("values (")
               + values.join(u',') + u')' + returning;
    }
    case sqlkDelete: {
        QString text = QStringLiteral("Delete from ") + target + u' ' + alias + CRLF + QStringLiteral("where ") + where;
        if (fAutoUpdateOptions.UseRowsClause)
            text += QStringLiteral(" ROWS 1");
        return text;
    }
    case sqlkRefresh: {
        TSQLParser parser(fQSelect->SQL().Text());
        TSQLParser unordered(parser.SetOrderBy(QString()));
        return unordered.AddCondition(where, false);
    }
    }
    return {};
}

void TFIBCustomDataSet::GenerateSQLs()
{
    const QString table = fAutoUpdateOptions.UpdateTableName();
    const QString keys = fAutoUpdateOptions.KeyFields;
    if (table.isEmpty() || keys.isEmpty())
        return;
    const bool change = fAutoUpdateOptions.CanChangeSQLs;
    auto put = [&](TFIBQuery& q, TpSQLKind kind) {
        if (change || q.SQL().Text().trimmed().isEmpty())
            q.SQL().SetText(GenerateSQLText(table, keys, kind));
    };
    put(*fQRefresh, sqlkRefresh);
    put(*fQDelete, sqlkDelete);
    fModifiedOnlyText = false;
    if (fAutoUpdateOptions.UpdateOnlyModifiedFields) {
        // The update text is made before each post from what the post changes.
        if (change || fQUpdate->SQL().Text().trimmed().isEmpty()) {
            fQUpdate->SQL().SetText(QString());
            fModifiedOnlyText = true;
        }
        return;
    }
    put(*fQInsert, sqlkInsert);
    put(*fQUpdate, sqlkModify);
}

void TFIBCustomDataSet::LoadServerInfo()
{
    if (fServerInfoLoaded || !Database() || !Database()->Connected())
        return;
    fServerInfoLoaded = true;
    QStringList relations;
    for (const TFIBFieldDescr& d : fDescr)
        if (!d.RelationName.isEmpty() && !relations.contains(d.RelationName))
            relations << d.RelationName;
    TFIBTransaction* tr = Transaction() ? Transaction() : Database()->InternalTransaction();
    const bool startedHere = !tr->Active();
    if (startedHere)
        tr->StartTransaction();
    try {
        TFIBQuery q;
        q.SetName(Name() + QStringLiteral("_ServerInfo"));
        q.SetDatabase(Database());
        q.SetTransaction(tr);
        q.SQL().SetText(QStringLiteral(
            "select trim(rf.rdb$field_name), coalesce(rf.rdb$default_source, f.rdb$default_source), "
            "f.rdb$computed_blr from rdb$relation_fields rf join rdb$fields f on f.rdb$field_name = rf.rdb$field_source "
            "where rf.rdb$relation_name = ?R"));
        for (const QString& relation : relations) {
            q.Params()[0].SetAsString(relation);
            q.ExecQuery();
            while (!q.Eof()) {
                const QString key = relation + u'.' + q.Fields(0).AsString().trimmed();
                QString source = q.Fields(1).IsNull() ? QString() : q.Fields(1).AsString().trimmed();
                if (source.startsWith(QLatin1String("DEFAULT"), Qt::CaseInsensitive))
                    source = source.mid(7).trimmed();
                if (!source.isEmpty())
                    fServerDefaults.insert(key, source);
                if (!q.Fields(2).IsNull())
                    fComputed.insert(key, true);
                q.Next();
            }
            q.Close();
        }
    } catch (...) {
        if (startedHere && tr->Active())
            tr->Rollback();
        throw;
    }
    if (startedHere)
        tr->Commit();
}

// ---- generator and new rows ----

TField* TFIBCustomDataSet::GeneratorKeyField() const
{
    const QStringList keys = fAutoUpdateOptions.KeyFields.split(u';', Qt::SkipEmptyParts);
    return keys.isEmpty() ? nullptr : FindField(keys.first().trimmed());
}

void TFIBCustomDataSet::ReadGeneratorValue()
{
    if (fAutoUpdateOptions.WhenGetGenID == wgNever)
        return;
    TField* key = GeneratorKeyField();
    if (!key || !IsNumericField(key) || !key->IsNull())
        return;
    QString generator = fAutoUpdateOptions.GeneratorName;
    if (generator.isEmpty() && !fAutoUpdateOptions.UpdateTableName().isEmpty()) {
        const QString table = fAutoUpdateOptions.UpdateTableName();
        fAutoUpdateOptions.SetUpdateTableName(QString());
        fAutoUpdateOptions.SetUpdateTableName(table);
        generator = fAutoUpdateOptions.GeneratorName;
    }
    if (generator.isEmpty())
        return;
    if (!Database())
        RaiseClientError(fibceDatabaseNotAssigned, {Name()});
    const qint64 value = Database()->Gen_Id(generator, fAutoUpdateOptions.GeneratorStep, Transaction());
    key->SetAsLargeInt(value);
    fGeneratorUsed = true;
}

void TFIBCustomDataSet::DoBeforePost()
{
    if (State() == dsInsert && fAutoUpdateOptions.WhenGetGenID == wgBeforePost) {
        ReadGeneratorValue();
        if (fKeyRequiredCleared) {
            if (TField* key = GeneratorKeyField())
                key->SetRequired(true);
            fKeyRequiredCleared = false;
        }
    }
    TDataSet::DoBeforePost();
}

void TFIBCustomDataSet::DoOnNewRecord()
{
    if (fAutoUpdateOptions.WhenGetGenID == wgOnNewRecord) {
        ReadGeneratorValue();
    } else if (fAutoUpdateOptions.WhenGetGenID == wgBeforePost) {
        // The key comes at the post; until then it may be empty.
        if (TField* key = GeneratorKeyField(); key && key->Required()) {
            key->SetRequired(false);
            fKeyRequiredCleared = true;
        }
    }
    ApplyDefaultValues();
    TDataSet::DoOnNewRecord();
}

void TFIBCustomDataSet::ApplyDefaultValues()
{
    TField* generatorKey = fAutoUpdateOptions.WhenGetGenID != wgNever ? GeneratorKeyField() : nullptr;
    // "param=field" links, and with AutoParamsToFields the parameter of the field's name.
    QHash<QString, QString> paramOfField;
    for (const QString& line : fAutoUpdateOptions.ParamsToFieldsLinks) {
        const int eq = line.indexOf(u'=');
        if (eq > 0)
            paramOfField.insert(line.mid(eq + 1).trimmed().toUpper(), line.left(eq).trimmed());
    }
    bool infoWanted = (fPrepareOptions & pfImportDefaultValues) != 0;
    for (TField* f : Fields()) {
        if (f->FieldKind() != fkData || f->FieldNo() <= 0 || f == generatorKey || !f->IsNull())
            continue;
        QString param = paramOfField.value(f->FieldName().toUpper());
        if (param.isEmpty() && fAutoUpdateOptions.AutoParamsToFields)
            param = f->FieldName();
        if (!param.isEmpty())
            if (TFIBXSQLVAR* p = fQSelect->Params().ByName(param); p && !p->IsNull()) {
                f->SetValue(p->AsVariant());
                continue;
            }
        if (auto* guid = dynamic_cast<TFIBGuidField*>(f)) {
            guid->SetAsBytes(QUuid::createUuid().toRfc4122());
            continue;
        }
        if (!infoWanted)
            continue;
        LoadServerInfo();
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(f->FieldNo() - 1)];
        const QString expression = fServerDefaults.value(d.RelationName + u'.' + d.FieldName);
        if (expression.isEmpty())
            continue;
        bool applied = false;
        if (OnApplyDefaultValue)
            OnApplyDefaultValue(this, f, expression, applied);
        if (applied)
            continue;
        const QString word = expression.trimmed().toUpper();
        if (word == QLatin1String("NULL"))
            continue;
        const TFieldType type = f->DataType();
        if (type == ftDate || type == ftTime || type == ftDateTime) {
            const double now = Now() - (Database() ? Database()->ClockOffset() : 0.0);
            if (word == QLatin1String("NOW") || word == QLatin1String("CURRENT_TIME") || word == QLatin1String("CURRENT_TIMESTAMP")
                || word == QLatin1String("'NOW'")) {
                f->SetAsDateTime(now);
                continue;
            }
            const double today = std::floor(now);
            if (word == QLatin1String("TODAY") || word == QLatin1String("CURRENT_DATE") || word == QLatin1String("'TODAY'")) {
                f->SetAsDateTime(today);
                continue;
            }
            if (word == QLatin1String("TOMORROW") || word == QLatin1String("'TOMORROW'")) {
                f->SetAsDateTime(today + 1);
                continue;
            }
            if (word == QLatin1String("YESTERDAY") || word == QLatin1String("'YESTERDAY'")) {
                f->SetAsDateTime(today - 1);
                continue;
            }
        }
        if (type == ftString || type == ftFixedChar || type == ftWideString || type == ftMemo || type == ftWideMemo) {
            if (word == QLatin1String("USER") || word == QLatin1String("CURRENT_USER")) {
                f->SetAsString(Database() ? Database()->ConnectParams().UserName() : QString());
                continue;
            }
            if (word == QLatin1String("ROLE") || word == QLatin1String("CURRENT_ROLE")) {
                f->SetAsString(Database() ? Database()->ConnectParams().RoleName() : QString());
                continue;
            }
        }
        const QString text = expression.trimmed();
        if (text.size() >= 2 && text.startsWith(u'\'') && text.endsWith(u'\''))
            f->SetAsString(text.mid(1, text.size() - 2).replace(QStringLiteral("''"), QStringLiteral("'")));
        else
            f->SetAsString(text);
    }
}
