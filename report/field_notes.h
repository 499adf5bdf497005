// Field notes: what each value of varoreport's rows means, in one table that
// the HTML page's metric table and `varoreport --fields` both read.
//
// Contract:
// - kFieldNotes has one note per named field of the metrics record but its
//   version (position = the field's row in kMetricsSchema), and one for i10,
//   which the record does not hold (position kI10Position): its group on the
//   page, a name for people, its unit and one line of explanation.
// - Scaled fields carry their factor at the end of their schema name
//   ("a_100" holds a × 100); fieldDecimals gives the decimal places (3, 2, 1
//   or 0) and readableNameLength the length of the name without that suffix
//   ("a"). putDecimal writes a stored value with that many places, digit for
//   digit as the integer holds them (531 with 2 places is "5.31").
// - isNoneMode: whether a named field's word is a mode of "none" (one of the
//   two mode fields holding kNoMode), which rows show as none or null.
// - schemaColumns gives, per row of kMetricsSchema, its decimal places and the
//   lengths of its name with and without the suffix, worked out once for
//   writers that write every row thousands of times.
// - countWithCitations counts the publications taking part in the metrics
//   (Use at least 1) that have at least `minimum` citations: i10 is the count
//   for 10.
// - writeFieldList writes every column of the csv rows, in row order, with
//   its unit and meaning, the names as `--values` chooses them (stored: the
//   schema names, the integers as stored).
#pragma once

#include <cstdint>
#include <cstdio>

#include "model/metrics_record.h"

class VroPublicationList;

enum VroFieldGroup { kGroupCounts, kGroupHirsch, kGroupEgghe, kGroupContemporary, kGroupIndividual,
                     kGroupAgeWeighted, kGroupRates, kFieldGroupCount };

extern const char* const kFieldGroupNames[kFieldGroupCount];

inline constexpr uint32_t kI10Position = 0xFFFFu;

struct VroFieldNote {
    uint32_t position;  // row in kMetricsSchema, or kI10Position
    VroFieldGroup group;
    const char* name;
    const char* unit;
    const char* explanation;
};

inline constexpr uint32_t kFieldNoteCount = kMetricsSchemaRows;  // the record's fields but the version, and i10
extern const VroFieldNote kFieldNotes[kFieldNoteCount];

inline constexpr char kI10Name[] = "i10";

struct VroSchemaColumn {
    uint8_t decimals;
    uint8_t readableLength;
    uint8_t storedLength;
};
const VroSchemaColumn* schemaColumns() noexcept;  // kMetricsSchemaRows entries

bool isNoneMode(const VroMetricsSchemaRow& row, uint32_t word) noexcept;
uint32_t fieldDecimals(const VroMetricsSchemaRow& row) noexcept;
uint32_t readableNameLength(const VroMetricsSchemaRow& row) noexcept;
// Writes forward into p; returns the position after the last character.
char* putDecimal(char* p, uint32_t value, uint32_t decimals) noexcept;

uint32_t countWithCitations(const VroPublicationList& list, uint32_t minimum) noexcept;

void writeFieldList(FILE* out, bool storedValues) noexcept;
