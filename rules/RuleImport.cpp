#include "rules/RuleImport.h"

#include <array>
#include <string>

#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "db/TField.h"
#include "rules/RuleSync.h"

namespace rotalis {

const char* const kRuleSelect =
    "SELECT   nrtcodigo,   crtcodigo,   nrtidentificacao,   nrtcfop_interno,   nrticm_interno,  "
    " nrtcfop_externo,   nrticm_externo,   nrtcombate_pobreza_aliquota,   "
    "nrtreducao_base_aliquota, "
    "  cstcodigo,   csicodigo,   cspcodigo,   pis_aliquota,   csfcodigo,   cofins_aliquota,  "
    " nrtclassificacao_is,   nrtclassificacao_cpresumido,   nrtibs_aliquota_estadual,  "
    " nrtibs_aliquota_municipal,   nrtdata_inicio,   nrtdata_fim,   nrtcbs_aliquota,  "
    " nrtreducao_cbs,   nrtreducao_ibs,   nrtcstibscbs  FROM nrt ";

namespace {

constexpr const char* kKeyMember = "classificacao_ibscbs";
constexpr const char* kKeyColumn = "nrtcodigo";

enum class Read {
  Text,
  Integer,
  Number,
  Date,          // ISO date text, written in the short date format
  OptionalDate,  // the same, but empty text leaves the column as it is
};

struct Assignment {
  const char* member;
  const char* column;
  Read read;
};

// Everything after the key, in the order the columns are assigned. The record
// carries no poverty-fund rate: that column takes the external ICMS rate.
constexpr std::array<Assignment, 24> kAssignments = {{
    {"regime_id", "crtcodigo", Read::Integer},
    {"identificacao", "nrtidentificacao", Read::Text},
    {"cfop_interno", "nrtcfop_interno", Read::Text},
    {"icm_interno", "nrticm_interno", Read::Number},
    {"cfop_externo", "nrtcfop_externo", Read::Text},
    {"icm_externo", "nrticm_externo", Read::Number},
    {"icm_externo", "nrtcombate_pobreza_aliquota", Read::Number},
    {"reducao_base_aliquota", "nrtreducao_base_aliquota", Read::Number},
    {"cst_icm_csosn", "cstcodigo", Read::Text},
    {"cst_ipi", "csicodigo", Read::Text},
    {"cst_pis", "cspcodigo", Read::Text},
    {"pis_aliquota", "pis_aliquota", Read::Number},
    {"cst_cofins", "csfcodigo", Read::Text},
    {"cofins_aliquota", "cofins_aliquota", Read::Number},
    {"classificacao_is", "nrtclassificacao_is", Read::Text},
    {"cst_ibscbs", "nrtcstibscbs", Read::Text},
    {"classificacao_cpresumido", "nrtclassificacao_cpresumido", Read::Text},
    {"ibs_aliquota_estadual", "nrtibs_aliquota_estadual", Read::Number},
    {"ibs_aliquota_municipal", "nrtibs_aliquota_municipal", Read::Number},
    {"data_inicio", "nrtdata_inicio", Read::Date},
    {"data_fim", "nrtdata_fim", Read::OptionalDate},
    {"cbs_aliquota", "nrtcbs_aliquota", Read::Number},
    {"reducao_cbs", "nrtreducao_cbs", Read::Number},
    {"reducao_ibs", "nrtreducao_ibs", Read::Number},
}};

void Assign(TField& field, const net::Json& record, const Assignment& assignment) {
  switch (assignment.read) {
    case Read::Text:
      field.SetAsString(net::GetValue<std::string>(record, assignment.member));
      break;
    case Read::Integer:
      field.SetAsInteger(net::GetValue<int>(record, assignment.member));
      break;
    case Read::Number:
      // Never through text: the column rounds the double to its three decimals.
      field.SetAsFloat(net::GetValue<double>(record, assignment.member));
      break;
    case Read::Date:
      field.SetAsString(IsoDateToBrDate(net::GetValue<std::string>(record, assignment.member)));
      break;
    case Read::OptionalDate: {
      const std::string iso = net::GetValue<std::string>(record, assignment.member);
      if (!iso.empty()) field.SetAsString(IsoDateToBrDate(iso));
      break;
    }
  }
}

using FieldList = std::array<TField*, kAssignments.size()>;

void AssignAll(const FieldList& fields, const net::Json& record) {
  for (std::size_t i = 0; i < kAssignments.size(); ++i) Assign(*fields[i], record, kAssignments[i]);
}

// After an INSERT met a row with its key: reads that row and, when it is one
// that another session wrote after the row set was read, adds it to the row
// set as the current row. False when the row was in the row set already (a
// key that differs only in letter case, or one this import wrote): that
// duplicate is the import's own, and stops it.
bool AdoptRowWrittenMeanwhile(TDbQuery& rules, const std::string& code) {
  TDbConnection& connection = *rules.Connection();
  TDbQuery reread(connection);
  reread.SQL().SetText(std::string(kRuleSelect) + "WHERE " + kKeyColumn + " = " +
                       connection.QuoteValue(code));
  reread.Open();
  if (reread.Eof()) return false;
  if (rules.Locate(kKeyColumn, reread.FieldByName(kKeyColumn).AsString())) return false;
  db::RowValues row;
  for (std::size_t i = 0; i < reread.FieldCount(); ++i) {
    const auto value = reread.CellValue(i);
    row.push_back(value ? std::optional<std::string>(*value) : std::nullopt);
  }
  rules.AdoptRow(std::move(row));
  return true;
}

}  // namespace

void ImportRules(TDbQuery& rules, const RuleList& list, UnchangedRows unchanged) {
  // The fields stay put while the query is open; looking them up once keeps a
  // large answer from paying for 25 name lookups per record.
  TField& key = rules.FieldByName(kKeyColumn);
  FieldList fields{};
  for (std::size_t i = 0; i < kAssignments.size(); ++i)
    fields[i] = &rules.FieldByName(kAssignments[i].column);

  for (const RuleRecord& item : list) {
    const net::Json record = item.Parsed();
    const std::string code = net::GetValue<std::string>(record, kKeyMember);
    const bool located = rules.Locate(kKeyColumn, code);
    if (located) {
      rules.Edit();
    } else {
      rules.Append();
      key.SetAsString(code);
    }
    AssignAll(fields, record);
    if (located && unchanged == UnchangedRows::Skip && rules.EditChangesNothing()) {
      rules.Cancel();
      continue;
    }
    try {
      rules.Post();
    } catch (const EDuplicateKey&) {
      // Another workstation (one that did not wait for the import lock)
      // inserted this key after the row set was read: its row is updated.
      if (located) throw;
      rules.Cancel();
      if (!AdoptRowWrittenMeanwhile(rules, code)) throw;
      rules.Edit();
      AssignAll(fields, record);
      rules.Post();
    }
  }
}

}  // namespace rotalis
