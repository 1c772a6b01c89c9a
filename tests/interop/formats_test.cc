// The small formats of the interop: the server's multistatus XML, colours
// as CSS names, and what Windows-1252 can hold.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interop/caldav.h"
#include "interop/ical.h"

namespace orncal::interop {
namespace {

TEST(Multistatus, ReadsEveryResponseWhateverThePrefixes) {
  const std::string xml =
      "<?xml version='1.0' encoding='utf-8'?>\n"
      "<multistatus xmlns=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
      "<response><href>/u/cal/a.ics</href><propstat><prop>"
      "<getetag>\"e1\"</getetag><C:calendar-data>BEGIN:VCALENDAR&#13;\nX:a&amp;b &lt;c&gt;"
      "</C:calendar-data></prop><status>HTTP/1.1 200 OK</status></propstat></response>"
      "<!-- a comment -->"
      "<d:response xmlns:d=\"DAV:\"><d:href>/u/cal/b%20c.ics</d:href><d:propstat><d:prop>"
      "<d:getetag>&quot;e2&quot;</d:getetag><cal:calendar-data xmlns:cal=\"urn:ietf:params:xml:"
      "ns:caldav\"><![CDATA[BEGIN:<x>&amp;]]></cal:calendar-data></d:prop></d:propstat>"
      "</d:response>"
      "<response><href>/u/cal/</href><propstat><prop><getetag/></prop></propstat></response>"
      "</multistatus>";
  const std::vector<DavResponse> r = ParseMultistatus(xml);
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[0].Href, "/u/cal/a.ics");
  EXPECT_EQ(r[0].ETag, "\"e1\"");
  EXPECT_EQ(r[0].CalendarData, "BEGIN:VCALENDAR\r\nX:a&b <c>");
  EXPECT_EQ(r[1].Href, "/u/cal/b%20c.ics");
  EXPECT_EQ(r[1].ETag, "\"e2\"");
  EXPECT_EQ(r[1].CalendarData, "BEGIN:<x>&amp;");
  EXPECT_EQ(r[2].Href, "/u/cal/");
  EXPECT_EQ(r[2].CalendarData, "");
  EXPECT_TRUE(ParseMultistatus("<multistatus xmlns=\"DAV:\" />").empty());
}

TEST(Multistatus, BrokenXmlIsAnErrorNotAGuess) {
  for (const char* xml : {
           "<multistatus><response><href>/a</href></response>",  // never closed
           "<multistatus><response></multistatus></response>",   // crossed
           "<multistatus><response><href>/a",                    // cut off
           "<multistatus><href>&nbsp;</href></multistatus>",     // unknown entity
           "<multistatus><href>&#xZZ;</href></multistatus>",
           "<multistatus><href>&#1114112;</href></multistatus>",
           "<multistatus><![CDATA[never ends</multistatus>",
           "<multistatus><!-- never ends</multistatus>",
           "<multistatus",
       }) {
    EXPECT_THROW(ParseMultistatus(xml), SyncError) << xml;
  }
}

TEST(Colors, CssNamesOnlyWhenExact) {
  // Colours are kept as 0x00BBGGRR; CSS writes #rrggbb.
  const struct {
    int32_t color;
    const char* name;
    const char* hex;
  } cases[] = {
      {0x0000FF, "red", "#ff0000"},    {0xFF0000, "blue", "#0000ff"},
      {0x00A5FF, "orange", "#ffa500"}, {0x000000, "black", "#000000"},
      {0x0000FE, "", "#fe0000"},       {0x563412, "", "#123456"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CssColorName(c.color), c.name) << c.hex;
    EXPECT_EQ(ColorFromCss(c.hex), c.color) << c.hex;
    if (*c.name) {
      EXPECT_EQ(ColorFromCss(c.name), c.color) << c.name;
    }
  }
  EXPECT_EQ(ColorFromCss("Dark Orange"), 0x008CFF);
  for (int32_t outside : {-1, 0x1000000})
    EXPECT_EQ(CssColorName(outside), "");
  for (const char* text : {"#12345", "#12345g", "no colour", ""})
    EXPECT_EQ(ColorFromCss(text), -1);
}

TEST(Cp1252, WhatTheFilesCanHold) {
  for (const char* text : {"", "plain", "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F", "\xE2\x82\xAC 5",
                           "\xE2\x80\x9Equoted\xE2\x80\x9C", "\xC5\xB8"})
    EXPECT_TRUE(FitsCp1252(text)) << text;
  for (const char* text :
       {"\xE6\x97\xA5", "\xC4\x80", "\xF0\x9F\x98\x80", "\xC2\x81", "\xC3", "\xFF", "\xC3\x28"})
    EXPECT_FALSE(FitsCp1252(text)) << text;
}

}  // namespace
}  // namespace orncal::interop
