// Field handlers called one by one, for what no import file can show: the
// field-mask bit of each value, the localised-field bits, and values that
// follow earlier ones in the same record. The rules for single values are
// shown by the import cases under tests/data/import.
#include "import/field_handlers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "import/note_scanner.h"
#include "model/publication.h"
#include "tests/support/support.h"

namespace {

void call(VroFieldHandler handler, VroPublication& pub, const std::u16string& value, uint32_t& mask) {
    std::vector<char16_t> buffer(value.begin(), value.end());
    buffer.push_back(0);
    handler(pub, buffer.data(), mask);
}

std::u16string text(const XpString16& s) { return std::u16string(s.data(), s.length()); }

std::u16string fromUtf8(const std::string& bytes) {
    XpString16 s;
    EXPECT_EQ(s.assign(bytes.c_str()), 0);
    return text(s);
}

constexpr uint32_t bit(int n) { return 1u << n; }

TEST(FieldHandlers, LaterValuesAppendReplaceOrAreDropped) {
    VroPublication pub;
    uint32_t mask = 0;
    call(setTitle, pub, u" \tFirst part\r\n", mask);
    call(setTitle, pub, u"second", mask);
    call(setTitle, pub, u" \v\f ", mask);  // empty after trimming: nothing, not even a separator
    EXPECT_EQ(text(pub.Title), u"First part second");
    call(addAuthorsText, pub, u"Smith, J", mask);
    call(addAuthorsText, pub, u"Doe, K", mask);
    EXPECT_EQ(text(pub.Authors), u"Smith, J, Doe, K");
    call(setDoi, pub, u"10.1/a", mask);
    call(setDoi, pub, u" 10.1/b ", mask);
    EXPECT_EQ(text(pub.DOI), u"10.1/b");
    call(setType, pub, u"Article", mask);
    call(setType, pub, u"  ", mask);
    call(setTypeText, pub, u"j", mask);  // the text handler does not map codes
    EXPECT_EQ(text(pub.Type), u"j");
    EXPECT_EQ(mask, bit(1) | bit(7) | bit(9) | bit(10));
    call(setSemicolonAuthors, pub, u"C, D", mask);
    EXPECT_EQ(text(pub.Authors), u"Smith, J, Doe, K, D C");
    call(setCitesNote, pub, u"7 cites:  http://example.org/c?id=1", mask);
    call(setCitesNote, pub, u"42 cites: ", mask);  // no link: the earlier one stays
    EXPECT_EQ(pub.Cites, 42u);
    EXPECT_EQ(text(pub.CitesURL), u"http://example.org/c?id=1");
}

TEST(FieldHandlers, LocalisedBitsStopOnlyTheirHandlers) {
    const struct {
        int bit;
        VroFieldHandler handler;
        XpString16 VroPublication::*field;
    } cases[] = {{18, addAuthorName, &VroPublication::Authors}, {18, setSemicolonAuthors, &VroPublication::Authors},
                 {19, setSource, &VroPublication::Source}, {20, setTitle, &VroPublication::Title}};
    for (const auto& c : cases) {
        for (int b : {18, 19, 20}) {
            VroPublication pub;
            uint32_t mask = bit(b);
            call(c.handler, pub, u"Smith, J", mask);
            if (c.handler == addAuthorName) pub.joinAuthors();
            EXPECT_EQ((pub.*c.field).empty(), b == c.bit) << c.bit << " " << b;
        }
    }
    VroPublication pub;
    uint32_t mask = bit(18);
    call(setScopusAuthors, pub, u"Smith J.", mask);  // this one has no such test
    EXPECT_EQ(text(pub.Authors), u"J. Smith");
}

TEST(FieldHandlers, EachValueSetsItsBitOnlyWhenItCounts) {
    const struct { VroFieldHandler handler; const char16_t* value; uint32_t mask; } cases[] = {
        {setYear, u"2010///", bit(8)}, {setYear, u"n.d.", 0}, {setYear, u" -44", 0},
        {setVolume, u"7", bit(13)}, {setIssue, u"-9", 0}, {setIssue, u"3", bit(14)},
        {setStartPage, u"+12a", bit(15)}, {setEndPage, u"1", bit(16)}, {setRank, u"0", 0},
        {setRank, u"7", bit(5)}, {setInUse, u"1", 0}, {setPages, u"5-30", bit(15) | bit(16)},
        {setPages, u"e12", 0}, {setPages, u"-3", 0}, {setCites, u"12", bit(2)},
        {setCites, u"none", 0}, {setEstimatedCites, u"30", bit(17)}, {setEstimatedCites, u"0", 0},
        {setCitesNote, u"many cites: x", 0}, {setCitesNote, u"Query date: 3 cites: x", 0},
        {setCitesNote, u"7 cites: x", bit(2) | bit(3)}, {setCitesNote, u"7 cites: ", bit(2)},
        {setCitedByNote, u"Cited By: 17", bit(2)}, {setCitedByNote, u"References: 12", 0},
        {setSemicolonAuthors, u";;", 0}, {setSemicolonAuthors, u" ", 0},
        {setSemicolonAuthors, u"Plato", bit(1)}, {addAuthorName, u"  ", 0},
        {addAuthorName, u"Plato", bit(1)}, {setScopusAuthors, u"Smith", bit(1)},
        {setIssn, u"12345678", bit(11)}, {setIssn, u" ", 0}, {setCitationUrl, u"b", bit(12)},
        {setType, u" ", 0}, {setType, u"j", bit(9)}, {setTitle, u"\t", 0},
        {addAuthorsText, u" Plato ", bit(1)}, {addAuthorsText, u" ", 0},
    };
    for (const auto& c : cases) {
        VroPublication pub;
        uint32_t mask = 0;
        const std::string value(c.value, c.value + std::char_traits<char16_t>::length(c.value));
        call(c.handler, pub, c.value, mask);
        EXPECT_EQ(mask, c.mask) << value;
    }
}

std::u16string reversed(const std::u16string& name, char16_t separator, uint32_t capacity = 64) {
    std::vector<char16_t> out(capacity + 1, u'#');
    const uint32_t n = reverseName(name.data(), uint32_t(name.size()), separator, out.data(), capacity);
    EXPECT_EQ(out[n], 0);
    EXPECT_EQ(out[capacity], u'#');  // nothing written past the given room
    return std::u16string(out.data(), n);
}

TEST(FieldHandlers, NameReversalIsCutAtTheRoom) {
    EXPECT_EQ(reversed(u"A, B, C", u','), u"C A, B");        // the last separator counts
    EXPECT_EQ(reversed(u"Smith, John", u',', 6), u"John ");  // cut at the room
    // Only the given length counts, even when white space follows it.
    const std::u16string longer = u"Doe,  X";
    char16_t out[16];
    EXPECT_EQ(reverseName(longer.data(), 5, u',', out, 16), 3u);
}

TEST(FieldHandlers, NameListsAsInTestsDataNameLists) {
    for (const std::vector<std::string>& row : vt::tableOf("import/name-lists.txt")) {
        SCOPED_TRACE(row.at(0) + " | " + row.at(1));
        VroPublication pub;
        uint32_t mask = 0;
        call(row[0] == "bar" ? setBarListAuthors : setListAuthors, pub, fromUtf8(row[1]), mask);
        const std::string expected = row.at(2) == "<empty>" ? "" : row[2];
        EXPECT_EQ(vt::utf8Units(text(pub.Authors)), expected);
        EXPECT_EQ(mask, expected.empty() ? 0u : bit(1));
        EXPECT_EQ(pub.splitAuthors(), std::stoul(row.at(3)));
    }
    // Appended to what the record holds, and cut within the list's room.
    VroPublication pub;
    uint32_t mask = 0;
    call(setListAuthors, pub, u"Roe, R", mask);
    call(setBarListAuthors, pub, u"Ann Lee", mask);
    EXPECT_EQ(text(pub.Authors), u"R Roe, Ann Lee");
    std::u16string many;
    for (int i = 0; i < 150; ++i) many += u"N" + vt::wide(std::to_string(i)) + u"|";
    VroPublication crowded;
    call(setBarListAuthors, crowded, many, mask);
    EXPECT_EQ(crowded.splitAuthors(), kMaxAuthors);
    EXPECT_EQ(text(crowded.Authors).substr(0, 12), u"N0, N1, N2, ");
}

// Whether a record carried a count field at all: count fields say so even
// when empty; notes only when they held a count; nothing else does.
TEST(FieldHandlers, CountFieldsMarkTheRecordEvenWhenEmpty) {
    const struct { VroFieldHandler handler; const char16_t* value; bool given; } cases[] = {
        {setCites, u"", true},           {setCites, u"n/a", true},          {setCites, u"0", true},
        {setEstimatedCites, u"", true},  {setCitesNote, u"7 cites: x", true}, {setCitesNote, u"cites", false},
        {setCitesNote, u"Query date: 1", false}, {setCitedByNote, u"Cited By: 0", true},
        {setCitedByNote, u"References: 12", false}, {setTitle, u"12", false}, {setRank, u"3", false},
    };
    for (const auto& c : cases) {
        VroPublication pub;
        pub.status = kStatusInHCore;
        uint32_t mask = 0;
        call(c.handler, pub, c.value, mask);
        EXPECT_EQ(pub.status, kStatusInHCore | (c.given ? kStatusCountGiven : 0u))
            << vt::utf8Units(c.value);
    }
}

TEST(NoteScanner, PatternsAsInTestsDataNotes) {
    for (const std::vector<std::string>& row : vt::tableOf("import/notes.txt")) {
        const std::u16string note = vt::wide(row.at(1));
        const NoteScanResult r = scanNote(note.c_str(), row[0].c_str());
        const uint32_t first = r.converted ? r.values[0] : 0, last = r.converted ? r.values[r.converted - 1] : 0;
        EXPECT_EQ(std::to_string(r.matched) + " " + std::to_string(r.converted) + " " + std::to_string(first) + " " +
                      std::to_string(last) + " | [" + (r.stop ? vt::narrow(r.stop) : "<null>") + "]",
                  row.at(2) + " | " + row.at(3))
            << row[0] << " | " << row[1];
    }
}

TEST(NoteScanner, NumberReadersFollowTheLibraryConversions) {
    int32_t s = 99;
    EXPECT_EQ(readSignedNumber(u"n.d.", &s), nullptr);
    EXPECT_EQ(s, 99);  // untouched without digits
    const char16_t* year = u" 2010///";
    EXPECT_EQ(readSignedNumber(year, &s), year + 5);
    EXPECT_EQ(s, 2010);
    EXPECT_NE(readSignedNumber(u"2147483648", &s), nullptr);
    EXPECT_EQ(s, INT32_MAX);
    EXPECT_EQ(readSignedNumber(u"- 4", &s), nullptr);  // the sign must touch the digits

    uint32_t u = 0;
    EXPECT_NE(readUnsignedNumber(u"18446744073709551615", &u), nullptr);
    EXPECT_EQ(u, 4294967295u);
    EXPECT_NE(readUnsignedNumber(u"\v4294967294", &u), nullptr);
    EXPECT_EQ(u, 4294967294u);
    EXPECT_NE(readUnsignedNumber(u"-0", &u), nullptr);
    EXPECT_EQ(u, 0u);
    // U+00A0 is not white space here, whatever the locale says.
    EXPECT_EQ(readUnsignedNumber(u"\u00A012", &u), nullptr);
}

}  // namespace
