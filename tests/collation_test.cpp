// Work keys, same-work links, groups and their metrics.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collate/collation.h"
#include "collate/works.h"
#include "collate/work_keys.h"
#include "foundation/strings.h"
#include "import/import_driver.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"

namespace {

std::string narrow(const std::u16string& text) {
    XpString out;
    (void)out.assign(text.data(), uint32_t(text.size()));
    return out.data() ? out.data() : "";
}

using KeyFunction = bool (*)(const char16_t*, uint32_t, std::u16string&) noexcept;

std::string keyOf(KeyFunction f, const char* text) {
    XpString16 wide;
    (void)wide.assign(text);
    std::u16string key;
    EXPECT_TRUE(f(wide.data(), wide.length(), key));
    return narrow(key);
}

TEST(WorkKeys, FollowTheirRules) {
    struct Case {
        KeyFunction f;
        const char* text;
        const char* key;
    };
    const Case cases[] = {
        {doiKey, " 10.1038/S41598 ", "10.1038/s41598"},
        {doiKey, "https://doi.org/10.1/X", "10.1/x"},
        {doiKey, "HTTP://DX.DOI.ORG/10.1/x", "10.1/x"},
        {doiKey, "doi:10.1/x", "10.1/x"},
        {doiKey, "doi:https://doi.org/10.1/x", ""},  // one prefix only
        {doiKey, "https://example.org/10.1/x", ""},
        {doiKey, "11.1/x", ""},
        {titleKey, "From Louvain to Leiden!", "fromlouvaintoleiden"},
        {titleKey, "ÉTUDE — des CAS n° 2", "étudedescasn2"},
        {titleKey, "Short title", ""},  // ten letters
        {titleKey, "Eleven char", ""},  // ten letters and digits
        {titleKey, "Eleven char1", ""},
        {titleKey, "Twelve char12", "twelvechar12"},
        {titleKey, "\U00010000 Twelve char12", "\U00010000twelvechar12"},  // a pair's first unit is D800
        {titleKey, "\U00010401 Twelve char12", "\U00010429twelvechar12"},  // lower-cased past U+FFFF
        {nameKey, "Traag, V.A.", "traag v"},
        {nameKey, "V.A. Traag", "traag v"},
        {nameKey, "Traag V. ", "traag v"},
        {nameKey, "Vincent Antonio Traag", "traag v"},
        {nameKey, "van Eck N.J.", "vaneck n"},
        {nameKey, "Ng A", "ng a"},
        {nameKey, "Müller-Lüdenscheidt,Ö.", "müllerlüdenscheidt ö"},
        {nameKey, "Plato", "plato"},
        {nameKey, "1234", ""},
        {nameKey, "Sartre 12", ""},  // a last word without letters is the surname
        {nameKey, " ", ""},
        // initials: up to four letters with full stops, up to three capitals without
        {nameKey, "Sartre J.P.A.B.", "sartre j"},
        {nameKey, "Sartre J.P.A.B.C.", "jpabc s"},
        {nameKey, "Sartre JPA", "sartre j"},
        {nameKey, "Sartre JPAB", "jpab s"},
        {sourceKey, "  Scientific\rReports ", "scientific reports"},
        {sourceKey, "SCIENTIFIC\tREPORTS", "scientific reports"},
        {sourceKey, "Scientific\u00A0\u2003Reports", "scientific reports"},  // spaces beyond ASCII
        {nameKey, "V.A.\u00A0Traag", "traag v"},
    };
    for (const Case& c : cases) EXPECT_EQ(keyOf(c.f, c.text), c.key) << c.text;
}

struct Record {
    const char* doi;
    const char* title;
    int32_t year;
    uint32_t cites;
};

struct WorksCase {
    const char* name;
    std::vector<Record> records;
    std::vector<uint32_t> workOf;
    std::vector<uint32_t> representative;
};

TEST(FindWorks, LinksByDoiOrByTitleAndYear) {
    const char* t = "A title long enough to count";
    const WorksCase cases[] = {
        {"equal DOIs in any spelling", {{"10.1/a", "x", 1, 1}, {"https://doi.org/10.1/A", "y", 2, 5}}, {0, 0}, {1}},
        {"two DOIs are two works", {{"10.1/a", t, 2000, 1}, {"10.1/b", t, 2000, 1}}, {0, 1}, {0, 1}},
        {"title and year without DOI", {{"", t, 2000, 3}, {"10.1/a", "A TITLE, long enough to count.", 2000, 3}},
         {0, 0}, {0}},
        {"another year", {{"", t, 2000, 3}, {"", t, 2001, 3}}, {0, 1}, {0, 1}},
        {"no year", {{"", t, 0, 3}, {"", t, 0, 3}}, {0, 1}, {0, 1}},
        {"the year 1 is a year", {{"", t, 1, 3}, {"", t, 1, 4}}, {0, 0}, {1}},
        {"short titles never link", {{"", "Short", 2000, 1}, {"", "Short", 2000, 1}}, {0, 1}, {0, 1}},
        // Two DOIs joined through a record without one, met after both.
        {"through a third", {{"10.1/a", t, 2000, 1}, {"10.1/b", t, 2000, 7}, {"", t, 2000, 2}}, {0, 0, 0}, {1}},
        {"duplicates in one export, first on a tie",
         {{"", "Other title here ok", 1999, 4}, {"", t, 2000, 4}, {"", t, 2000, 4}}, {0, 1, 1}, {0, 1}},
        // DOIs waiting for the title's first record without one; a DOI after
        // it links at once, another title's DOI waits apart.
        {"several wait for one",
         {{"10.1/a", t, 2000, 1}, {"10.1/z", "Another title long enough", 2000, 1}, {"10.1/b", t, 2000, 2},
          {"10.1/c", t, 2000, 3}, {"", t, 2000, 1}, {"10.1/d", t, 2000, 9}},
         {0, 1, 0, 0, 0, 0}, {5, 1}},
    };
    for (const WorksCase& c : cases) {
        SCOPED_TRACE(c.name);
        VroPublicationList list;
        std::vector<const VroPublication*> pool;
        for (const Record& r : c.records) {
            VroPublication* p = list.add();
            ASSERT_NE(p, nullptr);
            (void)p->DOI.assign(r.doi);
            (void)p->Title.assign(r.title);
            p->Year = r.year;
            p->Cites = r.cites;
            pool.push_back(p);
        }
        VroWorks works;
        ASSERT_EQ(findWorks(pool.data(), uint32_t(pool.size()), works), kResultOk);
        EXPECT_EQ(works.workOf, c.workOf);
        EXPECT_EQ(works.representative, c.representative);
        // The same from keys made as an import ends each record, the pool
        // cut in two parts (the second may be empty), on one thread and two.
        for (const uint32_t threads : {1u, 2u}) {
            const uint32_t cut = uint32_t(pool.size() + 1) / 2;
            VroWorkKeys parts[2];
            for (uint32_t k = 0; k < 2; ++k) {
                VroWorkKeyCollector collector(threads);
                for (uint32_t i = k == 0 ? 0 : cut; i < (k == 0 ? cut : pool.size()); ++i)
                    ASSERT_EQ(collector.add(*pool[i]), kResultOk);
                ASSERT_EQ(collector.finish(parts[k]), kResultOk);
            }
            const VroWorkKeys* keys[] = {&parts[0], &parts[1]};
            VroWorks keyed;
            ASSERT_EQ(findWorks(pool.data(), uint32_t(pool.size()), keys, 2, keyed), kResultOk);
            EXPECT_EQ(keyed.workOf, c.workOf) << threads;
            EXPECT_EQ(keyed.representative, c.representative) << threads;
            EXPECT_EQ(keyed.size, works.size) << threads;
            // Keys of other publications than the pool's are refused.
            EXPECT_EQ(findWorks(pool.data(), uint32_t(pool.size()), keys, 1, keyed), kErrInvalidArgument);
        }
    }
}

// Author identifiers as each export gives them, and the keys of names
// without one; a group is the metrics of its publications alone.
TEST(GroupPublications, AuthorsByIdentifierElseName) {
    struct Case {
        const char* file;
        std::vector<std::pair<std::string, uint32_t>> groups;  // key, publications
    };
    const Case cases[] = {
        {"scopus-ids.csv",
         {{"scopus:57193846544", 2}, {"scopus:6602734290", 1}, {"name:eck n", 1}, {"name:traag v", 1}}},
        {"wos-ids.isi",
         {{"orcid:0000-0003-3170-3879", 1}, {"orcid:0000-0001-8249-1752", 1}, {"researcherid:A-1234-2008", 1}}},
        {"openalex-ids.csv", {{"openalex:A5023888391", 1}, {"openalex:A5011111111", 1}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        VroPublicationList list;
        list.retainTexts(kFieldAuthors | kTextAuthorIds);
        XpString filter;
        const std::string path = std::string(VARO_SOURCE_DIR "/tests/data/collate/") + c.file;
        ASSERT_EQ(importPublications(path.c_str(), list, nullptr, filter, nullptr), kResultOk);
        list.endImport();
        std::vector<const VroPublication*> pubs;
        for (uint32_t i = 0; i < list.count(); ++i) pubs.push_back(list.at(i));
        std::vector<VroGroup> groups;
        ASSERT_EQ(groupPublications(pubs.data(), uint32_t(pubs.size()), VroGroupKind::author, groups), kResultOk);
        std::vector<std::pair<std::string, uint32_t>> got;
        for (const VroGroup& g : groups) got.emplace_back(narrow(g.key), uint32_t(g.members.size()));
        EXPECT_EQ(got, c.groups);
    }
}

TEST(GroupPublications, SourcesAndYearsWithTheirCommonestSpelling) {
    VroPublicationList list;
    std::vector<const VroPublication*> pubs;
    const std::pair<const char*, int32_t> records[] = {
        {"Nature", 2001}, {"NATURE ", 2002}, {"nature", 2001}, {"", 0}, {"The  Lancet", 2002}};
    for (const auto& [source, year] : records) {
        VroPublication* p = list.add();
        (void)p->Source.assign(source);
        p->Year = year;
        pubs.push_back(p);
    }
    std::vector<VroGroup> groups;
    ASSERT_EQ(groupPublications(pubs.data(), 5, VroGroupKind::source, groups), kResultOk);
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(narrow(groups[0].key), "nature");
    EXPECT_EQ(narrow(groups[0].name), "Nature");
    EXPECT_EQ(groups[0].members, (std::vector<uint32_t>{0, 1, 2}));
    EXPECT_EQ(narrow(groups[1].key), "");
    EXPECT_EQ(narrow(groups[2].name), "The  Lancet");
    ASSERT_EQ(groupPublications(pubs.data(), 5, VroGroupKind::year, groups), kResultOk);
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(narrow(groups[1].key), "2002");
    EXPECT_EQ(groups[1].members, (std::vector<uint32_t>{1, 4}));
}

// Groups of several exports join by key; members map to works, those that
// stand for none go, and the spelling counted most over all parts names it.
TEST(CombineGroups, JoinByKeyMapMembersAndSumSpellings) {
    std::vector<std::vector<VroGroup>> parts(2);
    parts[0].push_back({u"name:doe j", u"J. Doe", {0, 1}, {{u"J. Doe", 2}}});
    parts[0].push_back({u"name:roe r", u"R. Roe", {1}, {{u"R. Roe", 1}}});
    parts[1].push_back({u"name:doe j", u"Jane Doe", {0, 1}, {{u"Jane Doe", 1}, {u"J. Doe", 1}}});
    parts[1].push_back({u"name:poe p", u"P. Poe", {1}, {{u"P. Poe", 1}}});
    const std::vector<std::vector<uint32_t>> works = {{2, 0}, {2, kNoMember}};
    std::vector<VroGroup> groups;
    ASSERT_EQ(combineGroups(parts, works, groups), kResultOk);
    ASSERT_EQ(groups.size(), 2u);  // P. Poe's only record stands for no work
    EXPECT_EQ(narrow(groups[0].key), "name:doe j");
    EXPECT_EQ(narrow(groups[0].name), "J. Doe");
    EXPECT_EQ(groups[0].members, (std::vector<uint32_t>{0, 2}));
    EXPECT_EQ(narrow(groups[1].name), "R. Roe");
    EXPECT_EQ(groups[1].members, (std::vector<uint32_t>{0}));
}

}  // namespace
