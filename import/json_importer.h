// JSON exports of the open sources' APIs: OpenAlex, Crossref and Semantic
// Scholar responses, single works, arrays of works and JSON Lines.
//
// Contract:
// - probeJson accepts a first line whose first character that is not white
//   space is '{' or '['.
// - readJsonExport reads the input from its first byte (a UTF-8 byte-order
//   mark skipped) as a stream of JSON documents separated by white space:
//   one document (held whole), or JSON Lines (read a block of whole lines at
//   a time, so memory follows the records, not the input). Each document
//   decides its records:
//   * an object with "results" (OpenAlex response), "data" (Semantic Scholar
//     response), "papers" (Semantic Scholar author) or "message" (Crossref:
//     "items" of a work list, else the message is the work): the elements
//     of that array are the records, whatever they hold;
//   * an array: each element that is a work (below) is a record;
//   * any other object that is a work is one record.
//   A work is an object with a count: "cited_by_count" (OpenAlex),
//   "is-referenced-by-count" (Crossref), "citationCount" or "paperId"
//   (Semantic Scholar). Objects nested in a work ("citations", "references")
//   are never records.
// - The fields of a record go through the field handlers as the other
//   readers' values do: title ("title", its first element for Crossref,
//   else "display_name"), year ("publication_year", "year", else the first
//   date part of "issued", else of "published"), the count through
//   setCites, authors ("authorships[].author.display_name",
//   "author[]" given and family, "authors[].name") joined as the open
//   sources' name lists, source ("primary_location.source.display_name",
//   "container-title", "venue", else "journal.name"), DOI ("doi", "DOI",
//   else "externalIds.DOI"), type, volume, issue, pages ("biblio" first and
//   last page, or "page"), publisher. null values count as absent. Records
//   are ranked 1, 2, ... in input order, mask 0x20 as delimited text's rows.
// - The source of the first document that shows one names the import:
//   *readAs is its name, that of a row of the format table. A stream with none is
//   774 "Invalid file type".
// - A document that is not valid JSON, or one the input ends inside, fails
//   the import with 522 "Invalid data", logging the line where it starts (for
//   JSON Lines, the first line that is not a JSON value by itself); a byte-order
//   mark of UTF-16 or UTF-32 gives 85. A read failure (537 for a cut gzip
//   stream) is returned as it stands. Records appended before a failure stay.
#pragma once

#include <cstdint>

#include "import/importer.h"

[[nodiscard]] ResultCode probeJson(const XpString16& firstLine, bool* accepted) noexcept;

[[nodiscard]] ResultCode readJsonExport(const VroImportFormat& format, VroInputStream& input,
                                        VroPublicationList& list, uint32_t* fieldMaskOut,
                                        const char** readAs) noexcept;
