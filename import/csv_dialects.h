// The four delimited-text dialects. Each is VroImportCsv with its display
// name, four-character format code, binding table of column titles and
// separator; the tables are in stored (case-blind sorted) order.
//
// | class                | name                      | code   | separator |
// | VroImportVroCsv      | "Varo (CSV)"              | "Vroc" | comma     |
// | VroImportGScholarCsv | "Google (CSV)"            | "GSCc" | comma     |
// | VroImportIsiCsv      | "ISI/WoS (tab-delimited)" | "Isic" | tab       |
// | VroImportScopusCsv   | "Scopus (CSV)"            | "Scoc" | comma     |
//
// VroImportScopusColumnsCsv reads the Scopus exports that the column probe
// takes (any column choice and order, quoted or not): the Scopus table with
// "; "-separated author lists understood, and quoted values that hold line
// feeds joined across lines. It names itself as the Scopus importer does.
#pragma once

#include "import/csv_importer.h"

extern const VroFieldBinding kVroCsvColumns[21];
extern const VroFieldBinding kGScholarCsvColumns[8];
extern const VroFieldBinding kIsiCsvColumns[15];
extern const VroFieldBinding kScopusCsvColumns[15];
extern const VroFieldBinding kScopusColumnsCsvColumns[15];

class VroImportVroCsv final : public VroImportCsv {
public:
    VroImportVroCsv() noexcept;
    ~VroImportVroCsv() override;
};

class VroImportGScholarCsv final : public VroImportCsv {
public:
    VroImportGScholarCsv() noexcept;
    ~VroImportGScholarCsv() override;
};

class VroImportIsiCsv final : public VroImportCsv {
public:
    VroImportIsiCsv() noexcept;
    ~VroImportIsiCsv() override;
};

class VroImportScopusCsv final : public VroImportCsv {
public:
    VroImportScopusCsv() noexcept;
    ~VroImportScopusCsv() override;
};

class VroImportScopusColumnsCsv final : public VroImportCsv {
public:
    VroImportScopusColumnsCsv() noexcept;
    ~VroImportScopusColumnsCsv() override;
};
