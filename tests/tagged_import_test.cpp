// Tagged importers: tag splits, table lookups and the record walks of the four
// layouts, fed from small files through the text reader.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>

#include "foundation/strings.h"
#include "foundation/text_reader.h"
#include "import/field_handlers.h"
#include "import/importer.h"
#include "import/tagged_importers.h"
#include "metrics/publication.h"

namespace {

std::string narrow(const char16_t* text) {
    std::string out;
    for (; *text; ++text) out += *text < 0x80 ? char(*text) : '?';
    return out;
}
std::string narrow(const XpString16& text) { return narrow(text.data()); }

std::u16string wide(const std::string& text) { return std::u16string(text.begin(), text.end()); }

// Runs one importer over text the way the driver does: first line read and
// handed over, the rest read by the importer.
struct Imported {
    ResultCode rc = -1;
    uint32_t mask = 0xDEADBEEF;
    VroPublicationList list;

    VroPublication& at(uint32_t i) { return *list.at(i); }
};

void importText(VroImporter& importer, const std::string& text, Imported& out) {
    char path[] = "/tmp/vro_tagged_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, text.data(), text.size()), ssize_t(text.size()));
    close(fd);
    XpHolder<XpTextReader> reader;
    ASSERT_EQ(openTextReader(path, &reader), 0);
    (void)reader->checkEncoding(1252);
    XpString16 line;
    ASSERT_EQ(readTrimmedLine(reader.get(), line), 0);
    out.rc = importer.importData(reader.get(), line, out.list, &out.mask);
    unlink(path);
}

// ---------------------------------------------------------------------------

struct SplitCase {
    char16_t* (*split)(char16_t*) noexcept;
    const char* line;
    const char* tag;
    const char* value;
};

TEST(TagSplit, CutsInPlaceAndSkipsLeadingWhiteSpaceOfTheValue) {
    const SplitCase cases[] = {
        {splitTagAtColon, "Reference Type:  Journal Article", "Reference Type", "Journal Article"},
        {splitTagAtColon, "URL: http://x.org/a:b", "URL", "http://x.org/a:b"},
        {splitTagAtColon, "Notes", "Notes", ""},
        {splitTagAtColon, "Year:", "Year", ""},
        {splitTagAtWhiteSpace, "%A  Smith, John", "%A", "Smith, John"},
        {splitTagAtWhiteSpace, "PT\tJ", "PT", "J"},
        {splitTagAtWhiteSpace, "ER", "ER", ""},
        {splitTagAtWhiteSpace, "%1 42 cites: x", "%1", "42 cites: x"},
        {splitTagAtDash, "TY  - JOUR", "TY", "JOUR"},
        {splitTagAtDash, "ER  -", "ER", ""},
        {splitTagAtDash, "N1  -   Cited By: 3", "N1", "Cited By: 3"},
        {splitTagAtDash, "AU - Smith", "AU - Smith", ""},  // one blank is no separator
        {splitTagAtDash, "\rTY  - JOUR", "\rTY", "JOUR"},
    };
    for (const SplitCase& c : cases) {
        SCOPED_TRACE(c.line);
        std::u16string line = wide(c.line);
        const char16_t* value = c.split(line.data());
        EXPECT_EQ(narrow(line.data()), c.tag);
        EXPECT_EQ(narrow(value), c.value);
    }
}

TEST(TagSplit, TagComparisonIsExactAndWhole) {
    EXPECT_TRUE(tagIs(u"TY", "TY"));
    EXPECT_FALSE(tagIs(u"ty", "TY"));
    EXPECT_FALSE(tagIs(u"TYP", "TY"));
    EXPECT_FALSE(tagIs(u"T", "TY"));
    EXPECT_FALSE(tagIs(u"\rTY", "TY"));
    EXPECT_TRUE(tagIs(u"", ""));
}

// ---------------------------------------------------------------------------

template <size_t N>
void expectEveryKeyFoundInAnyCase(const VroFieldBinding (&table)[N], const char* skipped1 = "",
                                  const char* skipped2 = "") {
    for (const VroFieldBinding& entry : table) {
        const std::string key = entry.key;
        const bool skipped = key == skipped1 || key == skipped2;
        std::string lower = key;
        for (char& c : lower) c = char(std::tolower(uint8_t(c)));
        for (const std::string& spelling : {key, lower}) {
            SCOPED_TRACE(spelling);
            const std::u16string k = wide(spelling);
            const VroFieldHandler found = findFieldHandler(uint32_t(N), k.c_str(), table);
            EXPECT_EQ(found, skipped ? nullptr : entry.handler);
        }
    }
}

TEST(TaggedTables, EveryTagIsFoundExceptTheTwoTheUnsortedEndNoteTableHides) {
    expectEveryKeyFoundInAnyCase(kEndNoteSafTags);
    expectEveryKeyFoundInAnyCase(kIsiTaggedTags);
    expectEveryKeyFoundInAnyCase(kRisTaggedTags);
    expectEveryKeyFoundInAnyCase(kEndNoteTaggedTags, "%@", "%V");
}

// ---------------------------------------------------------------------------

TEST(EndNoteTagged, VolumeAndIssnAreNeverImported) {
    VroImportEndNoteTagged importer;
    Imported r;
    importText(importer,
               "%0 Journal Article\n%A Smith, John\n%V 12\n%N 3\n%@ 1234-5678\n%D 2001\n"
               "%1 7 cites: http://x.org/c\n",
               r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 1u);
    EXPECT_EQ(r.at(0).Volume, 0);
    EXPECT_EQ(narrow(r.at(0).ISSN), "");
    EXPECT_EQ(r.at(0).Issue, 3);
    EXPECT_EQ(r.at(0).Year, 2001);
    EXPECT_EQ(r.at(0).Cites, 7u);
    EXPECT_EQ(narrow(r.at(0).CitesURL), "http://x.org/c");
    EXPECT_EQ(narrow(r.at(0).Type), "Journal Article");
    EXPECT_EQ(narrow(r.at(0).Authors), "John Smith");
    EXPECT_EQ(importer.formatCode(), uint32_t('E' | 'n' << 8 | 'd' << 16 | 'T' << 24));
    EXPECT_STREQ(importer.name(), "EndNote (tagged)");
}

TEST(EndNoteTagged, RecordsOpenAtEachStartTagOnlyAndWrappedLinesAreLost) {
    VroImportEndNoteTagged importer;
    Imported r;
    importText(importer,
               "%0 Book\n%T First\nwrapped continuation of the title\n\n\n"
               "%0 Generic\n%T Second\n%X An abstract\n%A Roe, R\n%A Doe, J\n",
               r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 2u);
    EXPECT_EQ(narrow(r.at(0).Title), "First");
    EXPECT_EQ(r.at(0).Rank, 1);
    EXPECT_EQ(r.at(1).Rank, 2);
    EXPECT_EQ(r.at(1).Use, 1);
    // The last record has no end tag: the end of the input closes it.
    EXPECT_EQ(narrow(r.at(1).Authors), "R Roe, J Doe");
    EXPECT_EQ(r.at(1).authorCount, 2u);
    // Bits: Rank, Type, Title, Authors, Abstract.
    EXPECT_EQ(r.mask, 0x20u | 1u << 9 | 1u << 7 | 1u << 1 | 1u << 21);
}

TEST(EndNoteShowAllFields, AuthorsSplitAtEveryCommaAndNotesAreNoTag) {
    VroImportEndNoteSaf importer;
    Imported r;
    importText(importer,
               "Reference Type:  Journal Article\nRecord Number: 1\nAuthor: Smith, J.\nAuthor: Jones, K.\n"
               "Notes: 12 cites\nYear: 2005\nPages: 10-20\nreference type: Book\n",
               r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 1u);
    const VroPublication& p = r.at(0);
    EXPECT_EQ(narrow(p.Authors), "Smith, J., Jones, K.");
    EXPECT_EQ(p.authorCount, 4u);
    EXPECT_EQ(p.Cites, 0u);
    EXPECT_EQ(p.StartPage, 10);
    EXPECT_EQ(p.EndPage, 20);
    // A start tag in another letter case is no start: it reaches the type handler.
    EXPECT_EQ(narrow(p.Type), "Book");
    EXPECT_STREQ(importer.name(), "EndNote (Show All Fields)");
}

TEST(EndNoteShowAllFields, TagsBeforeTheFirstStartTagAreIgnored) {
    VroImportEndNoteSaf importer;
    Imported r;
    importText(importer, "Title: orphan\nAuthor: Nobody\nReference Type: Book\nTitle: kept\n", r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 1u);
    EXPECT_EQ(narrow(r.at(0).Title), "kept");
    EXPECT_EQ(r.at(0).authorCount, 0u);
}

// ---------------------------------------------------------------------------

TEST(IsiTagged, HeaderNeedsFnThenVr) {
    struct {
        const char* text;
        ResultCode rc;
    } const cases[] = {
        {"FN Export\nVR 1.0\nPT J\nER\n", 0},
        {"FN Export\nPT J\nER\n", kErrInvalidFileType},
        {"FN Export\n\nVR 1.0\nPT J\nER\n", kErrInvalidFileType},  // the empty line is the second line
        {"FN Export VR 1.0\nPT J\nER\n", kErrInvalidFileType},
        {"FN Export\n", kErrEndOfFile},
        {"FNX Export\nVR 1.0\n", kErrInvalidFileType},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        VroImportIsiTagged importer;
        Imported r;
        importText(importer, c.text, r);
        EXPECT_EQ(r.rc, c.rc);
        EXPECT_EQ(r.list.count(), c.rc == 0 ? 1u : 0u);
    }
}

TEST(IsiTagged, ContinuationLinesFeedTheLastTagsHandler) {
    VroImportIsiTagged importer;
    Imported r;
    importText(importer,
               "FN Export\nVR 1.0\nPT J\nAU Smith, J\n   Doe, K\n\tBrown, L\nTI A title that\n   wraps\n"
               "CR Reference one\n   Reference two\nAB First part\n   second part\n   \nDT Article\nTC 12\nER\n"
               "   Lost, L\nPT B\nAU Lone, A\nER\n",
               r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 2u);
    const VroPublication& p = r.at(0);
    EXPECT_EQ(narrow(p.Authors), "J Smith, K Doe, L Brown");
    EXPECT_EQ(p.authorCount, 3u);
    EXPECT_EQ(narrow(p.Title), "A title that wraps");
    EXPECT_EQ(narrow(p.Abstract), "First part second part");
    // "PT J" set the type first; the later "DT" replaces it.
    EXPECT_EQ(narrow(p.Type), "Article");
    EXPECT_EQ(p.Cites, 12u);
    // A continuation after "ER" has no handler.
    EXPECT_EQ(narrow(r.at(1).Authors), "A Lone");
    EXPECT_EQ(narrow(r.at(1).Type), "Book");
    EXPECT_EQ(r.at(1).Rank, 2);
}

TEST(IsiTagged, NothingAfterEfIsRead) {
    VroImportIsiTagged importer;
    Imported r;
    importText(importer, "FN Export\nVR 1.0\nPT J\nTC 1\nER\nEF\nPT J\nTC 9\nER\n", r);
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(r.list.count(), 1u);
    EXPECT_EQ(importer.formatCode(), uint32_t('I' | 's' << 8 | 'i' << 16 | 'T' << 24));
    EXPECT_STREQ(importer.name(), "ISI/WoS (tagged)");
}

TEST(IsiTagged, LowerCaseStartTagInsideARecordOnlySetsTheType) {
    VroImportIsiTagged importer;
    Imported r;
    importText(importer, "FN Export\nVR 1.0\nPT J\npt B\nTI One\nER\npt S\nTI Outside\n", r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 1u);
    EXPECT_EQ(narrow(r.at(0).Type), "Book");
    EXPECT_EQ(narrow(r.at(0).Title), "One");
}

// ---------------------------------------------------------------------------

TEST(RisTagged, AuthorTagsMixInOrderAndNotesCarryCitations) {
    VroImportRisTagged importer;
    Imported r;
    importText(importer,
               "TY  - JOUR\nAU  - Smith, John\nA1  - Doe, Jane\nPY  - 2010///\n"
               "N1  - Export Date: 1 May 2020; Cited By: 17\nER  - \n\n"
               "TY  - CHAP\nM1  - 7 cites: http://x.org/c\nty  - BOOK\nM3  - Chapter\nER  -\n",
               r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 2u);
    EXPECT_EQ(narrow(r.at(0).Authors), "John Smith, Jane Doe");
    EXPECT_EQ(r.at(0).authorCount, 2u);
    EXPECT_EQ(r.at(0).Year, 2010);
    EXPECT_EQ(r.at(0).Cites, 17u);
    EXPECT_EQ(r.at(1).Cites, 7u);
    EXPECT_EQ(narrow(r.at(1).CitesURL), "http://x.org/c");
    // "ty" is no start tag: it sets the type, and M3 then replaces it as text.
    EXPECT_EQ(narrow(r.at(1).Type), "Chapter");
    EXPECT_STREQ(importer.name(), "RIS/RefManager");
    EXPECT_EQ(importer.formatCode(), uint32_t('R' | 'i' << 8 | 's' << 16 | 'T' << 24));
}

TEST(RisTagged, StrayCarriageReturnHidesAStartTagAndEfEndsTheInput) {
    VroImportRisTagged importer;
    Imported r;
    importText(importer,
               "TY  - JOUR\nTI  - One\nER  - \n\rTY  - JOUR\nTI  - Two\nER  - \n"
               "TY  - JOUR\nTI  - Three\nEF  -\nTY  - JOUR\nTI  - Four\nER  - \n",
               r);
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 2u);
    EXPECT_EQ(narrow(r.at(0).Title), "One");
    EXPECT_EQ(narrow(r.at(1).Title), "Three");
    EXPECT_EQ(r.at(1).Rank, 2);
}

TEST(TaggedImporters, RefuseAnAbsentReaderOrAnEmptyFirstLine) {
    VroImportEndNoteSaf saf;
    VroImportEndNoteTagged enw;
    VroImportIsiTagged isi;
    VroImportRisTagged ris;
    VroImporter* const importers[] = {&saf, &enw, &isi, &ris};
    for (VroImporter* importer : importers) {
        SCOPED_TRACE(importer->name());
        VroPublicationList list;
        XpString16 line;
        uint32_t mask = 7;
        EXPECT_EQ(importer->importData(nullptr, line, list, &mask), kErrInvalidArgument);
        EXPECT_EQ(mask, 0u);
        XpHolder<XpTextReader> reader;
        ASSERT_EQ(openTextReader("/dev/null", &reader), 0);
        EXPECT_EQ(importer->importData(reader.get(), line, list, nullptr), kErrInvalidArgument);
        EXPECT_EQ(list.count(), 0u);
    }
}

}  // namespace
