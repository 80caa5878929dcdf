#include "host/graph/GraphWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/SettingsCatalog.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using TestSupport::MessageOf;

constexpr char ALL_OF_IT[] = R"({
        "description": "${A} and $${A}",
        "sources": [{"id": 1, "file": "$${x}", "stream": "video:2"}, {"id": 2, "file": "b", "stream": 7, "packets": true},
                    {"id": 3, "file": "c", "stream": "audio"}, {"id": 4, "file": "d", "stream": "subtitle"}],
        "filters": [{"id": 5, "class": "SettingsFilterDurationTrimmer", "implementation": "Tarsel", "inputs": [1],
                     "settings": {"Duration": 5000000}},
                    {"id": 6, "class": "SettingsFilterFrameRate", "implementation": "Adjust", "inputs": [5],
                     "settings": {"FrameRate": "30000/1001"}},
                    {"id": 7, "class": "FilterFrameRate", "inputs": [6], "settings": {"FrameRate": "24"}},
                    {"id": 8, "class": "SettingsFilterSpeedUp", "inputs": [3], "settings": {"SpeedUp": 0.7}},
                    {"id": 9, "class": "SettingsFilterBitStream", "inputs": [2], "settings": {"StreamFormat": "MP4"}},
                    {"id": 10, "class": "SettingsStreamMetadataUpdater", "inputs": [7],
                     "settings": {"title": "$${t}", "more": {"a": 1}}}],
        "controllers": [{"id": 20, "class": "FilterCutController",
                         "settings": {"Interval": [{"Start": 0, "End": 5}, {"Start": 9, "End": 10}]},
                         "streams": [{"id": 21, "input": 10}, {"id": 22, "input": 8}]},
                        {"id": 30, "class": "FilterRepeatController", "settings": {"RedefineDuration": 9},
                         "streams": [{"id": 31, "input": 4}]}],
        "output": {"file": "o.mkv", "container": "matroska",
                   "streams": [{"input": 21, "codec": "h264", "quality": 20}, {"input": 22, "codec": "aac", "bitRate": 9},
                               {"input": 31}, {"input": 9}]}})";

TEST(GraphWriter, WhatItWritesReadsBackAsAnEqualDocument) {
    GraphDocument const document = ParseGraph(ALL_OF_IT, {{"A", "${B}"}});
    EXPECT_EQ(ParseGraph(WriteGraph(document)), document);
    EXPECT_EQ(WriteGraph(ParseGraph(WriteGraph(document))), WriteGraph(document));
}

TEST(GraphWriter, WritesEveryClassWithItsDefaults) {
    for (CatalogEntry const& entry : GetSettingsCatalog()) {
        GraphDocument document;
        StreamKind const stream = entry.WorksOn(GraphKind::Audio) ? StreamKind::Audio : StreamKind::Video;
        document.sources.push_back({1, "a", {stream, 0}, entry.kinds.front() == GraphKind::Packets, "/sources/0"});
        Core::Property const defaults = MakeDefaultProperty(entry);
        Core::Property settings = defaults;
        if (!entry.fields.empty()) settings = Core::Property(defaults.Name());
        if (defaults.HasScalar()) settings.SetValue(defaults.GetString());
        // In the order of the fields, in which they are read.
        for (SettingField const& field : entry.fields) {
            std::string const& key = field.GetChildName();
            if (field.IsRequired()) settings.SetChild(key, "1");
            if (defaults.ChildExists(key)) settings.SetChild(key, defaults[key]);
        }
        if (entry.isController)
            document.controllers.push_back({2, entry.classId, "Default", settings, {{3, 1}}, "/controllers/0"});
        else
            document.filters.push_back({2, entry.classId, "Default", settings, {1}, "/filters/0"});
        if (entry.furtherKind) {
            EXPECT_EQ(entry.furtherKind, GraphKind::Subtitle) << entry.classId;
            document.sources.push_back({5, "a", {StreamKind::Subtitle, 0}, false, "/sources/1"});
            document.filters.front().inputs.push_back(5);
        }
        if (entry.maxInputs == 0) {
            document.sources.clear();
            document.filters.front().inputs.clear();
        }
        EXPECT_EQ(ParseGraph(WriteGraph(document)), document) << WriteGraph(document);
    }
}

TEST(GraphWriter, WritesDryOutputs) {
    GraphDocument document;
    document.sources.push_back({1, "a", {StreamKind::Audio, 0}, false, "/sources/0"});
    EXPECT_EQ(WriteGraph(document),
              "{\n  \"version\": 1,\n  \"sources\": [\n    {\n      \"id\": 1,\n      \"file\": \"a\",\n      "
              "\"stream\": \"audio\"\n    }\n  ],\n  \"output\": \"null\"\n}\n");
    EXPECT_EQ(ParseGraph(WriteGraph(document)), document);
    document.output.streams.push_back({1, "", {}, 0});
    EXPECT_EQ(ParseGraph(WriteGraph(document)), document);
    document.output.container = "mp4";
    EXPECT_EQ(ParseGraph(WriteGraph(document)), document);
}

TEST(GraphWriter, RefusesWhatAGraphFileCannotHold) {
    GraphDocument document;
    document.sources.push_back({1, "a\xFF", {StreamKind::Video, 0}, false, "/sources/0"});
    EXPECT_EQ(MessageOf<GraphException>([&] { WriteGraph(document); }),
              "a text of the graph is not UTF-8, which JSON has to be");
    document.filters.push_back({2, "Unheard", "Default", {}, {1}, "/filters/0"});
    EXPECT_EQ(MessageOf<GraphException>([&] { WriteGraph(document); }),
              "node 2: /filters/0: there is no class \"Unheard\"");
    document.filters[0].classId = "SettingsFilterLoop";
    document.filters[0].settings = Core::Property("SettingsFilterLoop");
    document.filters[0].settings.SetChild("Length", 5);
    EXPECT_EQ(MessageOf<GraphException>([&] { WriteGraph(document); }),
              "the settings \"SettingsFilterLoop\" hold more than the class has fields for");
}

}  // namespace
}  // namespace Tarsel::Host
