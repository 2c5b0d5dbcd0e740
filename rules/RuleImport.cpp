#include "rules/RuleImport.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

constexpr const char* kKeyColumn = "nrtcodigo";

enum class Read {
  Text,
  Integer,
  Number,
  Date,          // ISO date text, written in the short date format
  OptionalDate,  // the same, but empty text leaves the column as it is
};

struct Assignment {
  RuleMember member;
  const char* column;
  Read read;
};

// Everything after the key, in the order the columns are assigned. The record
// carries no poverty-fund rate: that column takes the external ICMS rate.
constexpr std::array<Assignment, 24> kAssignments = {{
    {RuleMember::regime_id, "crtcodigo", Read::Integer},
    {RuleMember::identificacao, "nrtidentificacao", Read::Text},
    {RuleMember::cfop_interno, "nrtcfop_interno", Read::Text},
    {RuleMember::icm_interno, "nrticm_interno", Read::Number},
    {RuleMember::cfop_externo, "nrtcfop_externo", Read::Text},
    {RuleMember::icm_externo, "nrticm_externo", Read::Number},
    {RuleMember::icm_externo, "nrtcombate_pobreza_aliquota", Read::Number},
    {RuleMember::reducao_base_aliquota, "nrtreducao_base_aliquota", Read::Number},
    {RuleMember::cst_icm_csosn, "cstcodigo", Read::Text},
    {RuleMember::cst_ipi, "csicodigo", Read::Text},
    {RuleMember::cst_pis, "cspcodigo", Read::Text},
    {RuleMember::pis_aliquota, "pis_aliquota", Read::Number},
    {RuleMember::cst_cofins, "csfcodigo", Read::Text},
    {RuleMember::cofins_aliquota, "cofins_aliquota", Read::Number},
    {RuleMember::classificacao_is, "nrtclassificacao_is", Read::Text},
    {RuleMember::cst_ibscbs, "nrtcstibscbs", Read::Text},
    {RuleMember::classificacao_cpresumido, "nrtclassificacao_cpresumido", Read::Text},
    {RuleMember::ibs_aliquota_estadual, "nrtibs_aliquota_estadual", Read::Number},
    {RuleMember::ibs_aliquota_municipal, "nrtibs_aliquota_municipal", Read::Number},
    {RuleMember::data_inicio, "nrtdata_inicio", Read::Date},
    {RuleMember::data_fim, "nrtdata_fim", Read::OptionalDate},
    {RuleMember::cbs_aliquota, "nrtcbs_aliquota", Read::Number},
    {RuleMember::reducao_cbs, "nrtreducao_cbs", Read::Number},
    {RuleMember::reducao_ibs, "nrtreducao_ibs", Read::Number},
}};

// The fields of the rule query, looked up once: the fields stay put while the
// query is open.
struct RuleFields {
  explicit RuleFields(TDbQuery& rules) : key(&rules.FieldByName(kKeyColumn)) {
    for (std::size_t i = 0; i < kAssignments.size(); ++i)
      assigned[i] = &rules.FieldByName(kAssignments[i].column);
  }
  TField* key;
  std::array<TField*, kAssignments.size()> assigned{};
};

// What one assignment does to its column.
struct Cell {
  bool assigned = false;  // false: the column is left as it is
  std::optional<std::string> value;
};

// The conversions of one import, column by column. The rules of one company
// share a few rates and dates, so each column keeps the cells of the last
// numbers or dates it met: a conversion runs once per value, not once per rule.
class CellConverter {
 public:
  explicit CellConverter(const RuleFields& fields) : fields_(fields) {}

  Cell CellOf(std::size_t column, const RuleRecord& record) {
    const Assignment& assignment = kAssignments[column];
    const TField& field = *fields_.assigned[column];
    Recent& recent = recent_[column];
    switch (assignment.read) {
      case Read::Text:
        return {true, field.CellForString(record.Text(assignment.member))};
      case Read::Integer:
        return {true, field.CellForInteger(record.Integer(assignment.member))};
      case Read::Number: {
        // Never through text: the column rounds the double to its three decimals.
        const double number = record.Number(assignment.member);
        const auto bits = std::bit_cast<std::uint64_t>(number);
        for (const Seen& seen : recent.seen)
          if (seen.valid && seen.bits == bits) return {true, seen.value};
        return {true, recent.Keep({true, bits, {}, field.CellForFloat(number)})};
      }
      case Read::Date:
      case Read::OptionalDate: {
        std::string iso = record.Text(assignment.member);
        if (iso.empty() && assignment.read == Read::OptionalDate) return {};
        for (const Seen& seen : recent.seen)
          if (seen.valid && seen.iso == iso) return {true, seen.value};
        std::optional<std::string> value = field.CellForString(IsoDateToBrDate(iso));
        return {true, recent.Keep({true, 0, std::move(iso), std::move(value)})};
      }
    }
    return {};
  }

 private:
  struct Seen {
    bool valid = false;
    std::uint64_t bits = 0;  // of the number
    std::string iso;         // the date as the record gave it
    std::optional<std::string> value;
  };
  // The last few values of one column, the oldest replaced first.
  struct Recent {
    std::array<Seen, 4> seen;
    std::size_t next = 0;
    const std::optional<std::string>& Keep(Seen value) {
      Seen& slot = seen[next];
      next = (next + 1) % seen.size();
      slot = std::move(value);
      return slot.value;
    }
  };

  const RuleFields& fields_;
  std::array<Recent, kAssignments.size()> recent_;
};

// One record turned into the cells its row receives.
class PreparedRow {
 public:
  void Prepare(const RuleRecord& record, const RuleFields& fields, CellConverter& converter) {
    code_ = record.Text(RuleMember::classificacao_ibscbs);
    keyCell_ = fields.key->CellForString(code_);
    for (std::size_t i = 0; i < kAssignments.size(); ++i) cells_[i] = converter.CellOf(i, record);
  }

  const std::string& Code() const { return code_; }

  // Assigns the row being edited or appended; the cells are moved out.
  void AssignTo(const RuleFields& fields, bool appended) {
    if (appended) fields.key->Assign(std::move(keyCell_));
    for (std::size_t i = 0; i < kAssignments.size(); ++i) {
      if (cells_[i].assigned) fields.assigned[i]->Assign(std::move(cells_[i].value));
    }
  }

 private:
  std::string code_;
  std::optional<std::string> keyCell_;
  std::array<Cell, kAssignments.size()> cells_;
};

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

// A record whose INSERT met a key that another workstation (one that did not
// wait for the import lock) inserted after the row set was read updates that
// row instead. The query is still appending the record's row. False when the
// duplicate is the import's own.
bool UpdateRowWrittenMeanwhile(TDbQuery& rules, const RuleFields& fields, CellConverter& converter,
                               const RuleRecord& record) {
  rules.Cancel();
  PreparedRow again;
  again.Prepare(record, fields, converter);
  if (!AdoptRowWrittenMeanwhile(rules, again.Code())) return false;
  rules.Edit();
  again.AssignTo(fields, /*appended=*/false);
  rules.Post();
  return true;
}

// The records of one batch whose rows were posted, in order.
struct Posted {
  std::size_t record;
  bool located;
};

}  // namespace

void ImportRules(TDbQuery& rules, const RuleList& list, UnchangedRows unchanged) {
  const RuleFields fields(rules);
  CellConverter converter(fields);
  PreparedRow row;
  // A batch of rows is built while the server is idle, then its statements
  // are sent one right after the other: measured, building each row between
  // two statements cost the server about twice the time it took.
  constexpr std::size_t kBatch = 256;
  // After a statement failed, the rows built after it are built again: while
  // failures come often, batches start small.
  std::size_t batch = kBatch;
  std::vector<Posted> posted;
  posted.reserve(kBatch);
  for (std::size_t next = 0; next < list.size();) {
    posted.clear();
    // A record that cannot be written stops the import once the rows before
    // it are.
    std::exception_ptr stop;
    for (; next < list.size() && posted.size() < batch; ++next) {
      try {
        row.Prepare(list[next], fields, converter);
        const bool located = rules.Locate(kKeyColumn, row.Code());
        if (located) {
          rules.Edit();
        } else {
          rules.Append();
        }
        row.AssignTo(fields, !located);
        if (located && unchanged == UnchangedRows::Skip && rules.EditChangesNothing()) {
          rules.Cancel();
          continue;
        }
        rules.PostLater();
        posted.push_back({next, located});
      } catch (...) {
        stop = std::current_exception();
        break;
      }
    }
    try {
      rules.SendPosted();
    } catch (const EDuplicateKey&) {
      const Posted failed = posted[rules.PostsSent()];
      if (failed.located ||
          !UpdateRowWrittenMeanwhile(rules, fields, converter, list[failed.record]))
        throw;
      // The rows after it were taken back: they are built again.
      next = failed.record + 1;
      batch = 1;
      continue;
    }
    batch = std::min(batch * 2, kBatch);
    if (stop) std::rethrow_exception(stop);
  }
}

}  // namespace rotalis
