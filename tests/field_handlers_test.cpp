#include "import/field_handlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "metrics/publication.h"

namespace {

// Handlers rewrite their value in place, so each call gets its own copy.
bool call(VroFieldHandler handler, VroPublication& pub, const std::u16string& value, uint32_t& mask) {
    std::vector<char16_t> buffer(value.begin(), value.end());
    buffer.push_back(0);
    return handler(pub, buffer.data(), mask);
}

std::u16string text(const XpString16& s) { return std::u16string(s.data(), s.length()); }

constexpr uint32_t bit(int n) { return 1u << n; }

TEST(FieldHandlers, TextHandlersTrimAppendOrReplace) {
    VroPublication pub;
    uint32_t mask = 0;
    call(setTitle, pub, u" \tFirst part\r\n", mask);
    call(setTitle, pub, u"second", mask);
    call(setTitle, pub, u" \v\f ", mask);  // empty after trimming: nothing, not even a separator
    EXPECT_EQ(text(pub.Title), u"First part second");
    call(addAuthorsText, pub, u"Smith, J", mask);
    call(addAuthorsText, pub, u"Doe, K", mask);
    EXPECT_EQ(text(pub.Authors), u"Smith, J, Doe, K");
    call(setAbstract, pub, u"One.", mask);
    call(setAbstract, pub, u"Two.", mask);
    call(setAbstract, pub, u"Three.", mask);
    EXPECT_EQ(text(pub.Abstract), u"One. Two. Three.");
    call(setDoi, pub, u"10.1/a", mask);
    call(setDoi, pub, u" 10.1/b ", mask);
    EXPECT_EQ(text(pub.DOI), u"10.1/b");
    // Characters above 127 are never trimmed.
    call(setPublisher, pub, u"\u00A0Press\u3000", mask);
    EXPECT_EQ(text(pub.Publisher), u"\u00A0Press\u3000");
    EXPECT_EQ(mask, bit(1) | bit(4) | bit(7) | bit(10) | bit(21));

    // Each URL goes to its own field with its own bit.
    uint32_t urls = 0;
    call(setArticleUrl, pub, u"a", urls);
    call(setCitationUrl, pub, u"b", urls);
    call(setCitesUrl, pub, u"c", urls);
    EXPECT_EQ(text(pub.ArticleURL) + text(pub.CitationURL) + text(pub.CitesURL), u"abc");
    EXPECT_EQ(urls, bit(0) | bit(3) | bit(12));
}

TEST(FieldHandlers, LocalisedBitsStopOnlyTheirHandlers) {
    VroPublication pub;
    uint32_t mask = bit(18) | bit(19) | bit(20);
    call(setSource, pub, u"Journal", mask);
    call(setTitle, pub, u"Title", mask);
    call(addAuthorName, pub, u"Smith, J", mask);
    call(setSemicolonAuthors, pub, u"Smith, J", mask);
    EXPECT_TRUE(pub.Source.empty());
    EXPECT_TRUE(pub.Title.empty());
    EXPECT_TRUE(pub.Authors.empty());
    EXPECT_EQ(pub.authorCount, 0u);
    EXPECT_EQ(mask, bit(18) | bit(19) | bit(20));
    // The Scopus author handler has no such test.
    call(setScopusAuthors, pub, u"Smith J.", mask);
    EXPECT_EQ(text(pub.Authors), u"J. Smith");
}

TEST(FieldHandlers, TypeCodes) {
    const struct {
        const char16_t* value;
        const char16_t* stored;
    } cases[] = {
        {u"j", u"Journal article"}, {u" J ", u"Journal article"}, {u"b", u"Book"},   {u"C", u"Proceedings paper"},
        {u"S", u"Review"},          {u"s", u"Review"},            {u"JOUR", u"JOUR"}, {u"P", u"P"},
        {u"\u00E9", u"\u00E9"},
    };
    for (const auto& c : cases) {
        VroPublication pub;
        uint32_t mask = 0;
        call(setType, pub, c.value, mask);
        EXPECT_EQ(text(pub.Type), c.stored);
        EXPECT_EQ(mask, bit(9));
    }
    VroPublication pub;
    uint32_t mask = 0;
    call(setType, pub, u"Article", mask);
    call(setType, pub, u"  ", mask);
    call(setTypeText, pub, u"j", mask);  // the text handler does not map codes
    EXPECT_EQ(text(pub.Type), u"j");
}

TEST(FieldHandlers, SignedNumbersStoreAlwaysAndMarkOnlyPositives) {
    const struct {
        VroFieldHandler handler;
        int32_t VroPublication::*field;
        const char16_t* value;
        int32_t stored;
        uint32_t mask;
    } cases[] = {
        {setYear, &VroPublication::Year, u"2010///", 2010, bit(8)},
        {setYear, &VroPublication::Year, u"n.d.", 0, 0},
        {setYear, &VroPublication::Year, u" -44", -44, 0},
        {setVolume, &VroPublication::Volume, u"99999999999", 2147483647, bit(13)},
        {setIssue, &VroPublication::Issue, u"-99999999999", -2147483647 - 1, 0},
        {setStartPage, &VroPublication::StartPage, u"+12a", 12, bit(15)},
        {setEndPage, &VroPublication::EndPage, u"1", 1, bit(16)},
        {setRank, &VroPublication::Rank, u"0", 0, 0},
        {setRank, &VroPublication::Rank, u"7", 7, bit(5)},
        {setInUse, &VroPublication::Use, u"", 0, 0},
        {setInUse, &VroPublication::Use, u"1", 1, 0},
    };
    for (const auto& c : cases) {
        VroPublication pub;
        pub.*c.field = 55;
        uint32_t mask = 0;
        call(c.handler, pub, c.value, mask);
        EXPECT_EQ(pub.*c.field, c.stored) << std::string(c.value, c.value + std::char_traits<char16_t>::length(c.value));
        EXPECT_EQ(mask, c.mask);
    }
}

TEST(FieldHandlers, PagesStoreWhatTheScanReached) {
    VroPublication pub;
    pub.EndPage = 9;
    uint32_t mask = 0;
    call(setPages, pub, u"123", mask);
    EXPECT_EQ(pub.StartPage, 123);
    EXPECT_EQ(pub.EndPage, 9);
    call(setPages, pub, u"e12", mask);  // nothing reached: both kept
    EXPECT_EQ(pub.StartPage, 123);
    call(setPages, pub, u"5-30", mask);
    EXPECT_EQ(pub.StartPage, 5);
    EXPECT_EQ(pub.EndPage, 30);
    EXPECT_EQ(mask, bit(15) | bit(16));
}

TEST(FieldHandlers, CitationCountsKeepTheirInvariant) {
    {  // an estimate of 0 after the count leaves Cites alone
        VroPublication pub;
        uint32_t mask = 0x20;
        call(setCites, pub, u"12", mask);
        call(setEstimatedCites, pub, u"0", mask);
        EXPECT_EQ(pub.CitesCount, 12u);
        EXPECT_EQ(pub.ECC, 0u);
        EXPECT_EQ(pub.Cites, 12u);
        EXPECT_EQ(mask, 0x20 | bit(2));
    }
    {  // a non-zero estimate before the count stands
        VroPublication pub;
        uint32_t mask = 0;
        call(setEstimatedCites, pub, u"30", mask);
        call(setCites, pub, u"12", mask);
        EXPECT_EQ(pub.CitesCount, 12u);
        EXPECT_EQ(pub.ECC, 30u);
        EXPECT_EQ(pub.Cites, 30u);
        EXPECT_EQ(mask, bit(2) | bit(17));
    }
    {  // a zero estimate before the count is overwritten by it
        VroPublication pub;
        uint32_t mask = 0;
        call(setEstimatedCites, pub, u"0", mask);
        call(setCites, pub, u"12", mask);
        EXPECT_EQ(pub.ECC, 12u);
        EXPECT_EQ(pub.Cites, 12u);
    }
    {  // unsigned counts: a minus wraps to the cap, no digits give 0 without a bit
        VroPublication pub;
        uint32_t mask = 0;
        call(setCites, pub, u"-5", mask);
        EXPECT_EQ(pub.Cites, 4294967295u);
        call(setCites, pub, u"none", mask);
        EXPECT_EQ(pub.CitesCount, 0u);
        EXPECT_EQ(pub.Cites, 0u);
        EXPECT_EQ(mask, bit(2));
    }
}

TEST(FieldHandlers, CitationNotes) {
    VroPublication pub;
    uint32_t mask = 0;
    call(setCitesNote, pub, u"Query date: 2020-01-01 10:00:00", mask);
    call(setCitesNote, pub, u"QUERY DATE: 5 cites: x", mask);
    call(setCitesNote, pub, u"many cites: x", mask);
    EXPECT_EQ(pub.Cites, 0u);
    EXPECT_EQ(mask, 0u);
    call(setCitesNote, pub, u"7 cites:  http://example.org/c?id=1", mask);
    EXPECT_EQ(pub.CitesCount, 7u);
    EXPECT_EQ(pub.ECC, 7u);
    EXPECT_EQ(pub.Cites, 7u);
    EXPECT_EQ(text(pub.CitesURL), u"http://example.org/c?id=1");
    EXPECT_EQ(mask, bit(2) | bit(3));
    uint32_t noLink = 0;
    call(setCitesNote, pub, u"42 cites: ", noLink);
    EXPECT_EQ(pub.Cites, 42u);
    EXPECT_EQ(text(pub.CitesURL), u"http://example.org/c?id=1");
    EXPECT_EQ(noLink, bit(2));

    const struct {
        const char16_t* note;
        uint32_t cites;
    } notes[] = {
        {u"Export Date: 1 May 2020; Cited By: 17", 17},
        {u"Cited By (since 1996): 35", 35},
        {u"cited by : 3", 3},
        {u"Cited By (since 1996) 35", 0},  // neither pattern matches
        {u"References: 12", 0},
    };
    for (const auto& n : notes) {
        VroPublication p;
        uint32_t m = 0;
        call(setCitedByNote, p, n.note, m);
        EXPECT_EQ(p.Cites, n.cites);
        EXPECT_EQ(p.ECC, n.cites);
        EXPECT_EQ(p.CitesCount, n.cites);
        EXPECT_EQ(m, n.cites != 0 ? bit(2) : 0u);
    }
}

std::u16string reversed(const std::u16string& name, char16_t separator, uint32_t capacity = 64) {
    std::vector<char16_t> out(capacity + 1, u'#');
    const uint32_t n = reverseName(name.data(), uint32_t(name.size()), separator, out.data(), capacity);
    EXPECT_EQ(out[n], 0);
    EXPECT_EQ(out[capacity], u'#');  // nothing written past the given room
    return std::u16string(out.data(), n);
}

TEST(FieldHandlers, NameReversal) {
    EXPECT_EQ(reversed(u"Smith, John", u','), u"John Smith");
    EXPECT_EQ(reversed(u"Smith,", u','), u"Smith");
    EXPECT_EQ(reversed(u"Smith JK", u' '), u"JK Smith");
    EXPECT_EQ(reversed(u"van der Berg A", u' '), u"A van der Berg");
    EXPECT_EQ(reversed(u"Plato", u','), u"Plato");
    EXPECT_EQ(reversed(u", John", u','), u"John");
    EXPECT_EQ(reversed(u"A, B, C", u','), u"C A, B");  // the last separator counts
    EXPECT_EQ(reversed(u"Smith, John", u',', 6), u"John ");  // cut at the room
}

std::u16string joinedAuthors(VroPublication& pub) {
    pub.joinAuthors();
    return text(pub.Authors);
}

TEST(FieldHandlers, AuthorNamesOneAtATime) {
    VroPublication pub;
    uint32_t mask = 0;
    call(addAuthorName, pub, u" Smith, John ", mask);
    call(addAuthorName, pub, u"   ", mask);
    call(addAuthorName, pub, u"Doe,Jane", mask);
    call(addAuthorName, pub, u"Plato", mask);
    EXPECT_EQ(pub.authorCount, 3u);
    EXPECT_EQ(joinedAuthors(pub), u"John Smith, Jane Doe, Plato");
    EXPECT_EQ(mask, bit(1));
}

TEST(FieldHandlers, SemicolonAuthors) {
    const struct {
        const char16_t* value;
        const char16_t* authors;
    } cases[] = {
        {u"Smith, J; Doe, K", u"J Smith, K Doe"},
        {u" Smith, J ;Doe, K ; ;  ", u"J Smith, K Doe"},   // trailing empty pieces dropped
        {u"Smith, J;; Doe, K", u"J Smith, , K Doe"},       // inner empty pieces stay
        {u"Plato", u"Plato"},
        {u";;", u""},
    };
    for (const auto& c : cases) {
        VroPublication pub;
        uint32_t mask = 0;
        call(setSemicolonAuthors, pub, c.value, mask);
        EXPECT_EQ(text(pub.Authors), c.authors);
        EXPECT_EQ(mask, *c.authors != 0 ? bit(1) : 0u);
    }
    VroPublication pub;
    uint32_t mask = 0;
    call(setSemicolonAuthors, pub, u"A, B", mask);
    call(setSemicolonAuthors, pub, u"C, D", mask);
    EXPECT_EQ(text(pub.Authors), u"B A, D C");

    // The 100th piece keeps the rest of the text, semicolons included (and
    // the value is long enough for the working room to come from the heap).
    std::u16string many;
    for (int i = 0; i < 102; ++i) many += u"Name N" + std::u16string(1, char16_t(u'0' + i % 10)) + u";";
    VroPublication big;
    call(setSemicolonAuthors, big, many, mask);
    const std::u16string all = text(big.Authors);
    EXPECT_EQ(all.substr(all.size() - 33), u"Name N8, Name N9;Name N0;Name N1;");
    EXPECT_EQ(std::count(all.begin(), all.end(), u','), 99);
}

TEST(FieldHandlers, ScopusAuthorsPairRule) {
    const struct {
        const char16_t* value;
        const char16_t* authors;
    } cases[] = {
        {u"Smith J., Doe K.", u"J. Smith, K. Doe"},
        {u"Smith, J., Doe, K.", u"J. Smith, K. Doe"},
        {u"Smith J., Doe", u"Doe Smith J."},  // no blank in the second piece: a pair
        {u"Smith J.", u"J. Smith"},
        {u"Smith", u"Smith"},
        {u"Smith, J., Doe K.", u"J. Smith, K. Doe"},
        {u" van der Berg A. ,  Li X.", u"A. van der Berg, X. Li"},
    };
    for (const auto& c : cases) {
        VroPublication pub;
        uint32_t mask = 0;
        call(setScopusAuthors, pub, c.value, mask);
        EXPECT_EQ(text(pub.Authors), c.authors);
        EXPECT_EQ(mask, bit(1));
    }
}

}  // namespace
