#pragma once

#include <cstddef>
#include <string>

#include "exporters/html/PageTables.h"
#include "exporters/html/SeriesRecorder.h"
#include "exporters/html/SeriesStore.h"
#include "writers/host/SystemMetadata.h"

/// What a page is made of.
struct PageContent {
  const pwr::SystemMetadata* system;  ///< may be null
  SeriesStore& store;                 ///< finished
  const SeriesRecorder& recorder;
  const PageTables& tables;
};

/// The parts of a page that are of this run, as they stand in the document.
struct PageDocument {
  std::string title;   ///< as HTML
  std::string run;     ///< JSON
  std::string points;  ///< base64
};

/// Puts a page together that has at most `mostBytes`, if that is possible at all: with points as
/// they came or, where these are too many, with as many bins as fit.
PageDocument makeDocument(const PageContent& content, std::size_t mostBytes);

/// How many bytes a page has beside its document.
std::size_t frameBytes();
/// The page, but for its points, as the text in front of them and the one behind.
std::string headOf(const PageDocument& document);
std::string tailOf();
