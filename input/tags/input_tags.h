// From the tags of the input to the record that goes into the output.
#pragma once

#include "engine/base/metadata.h"
#include "engine/base/reporter.h"
#include "input/tags/tag_set.h"

#include <string>

namespace tesk {

/// Fills the fields of the record that were not given. A track number is read with "%d/%d" and taken when it lies
/// within 1-998. The cover is taken when `record` has no cover path: the front cover, else the first picture, as long
/// as it is a JPEG or PNG of at most kLargestCover bytes; one that is not is left out with an alert.
void fillFromTags(const TagSet& tags, MetadataRecord& record, Reporter& report);

/// The same from the file, with a report line that tells the format and what was found.
void read_input_tags(const std::string& path, MetadataRecord& record, Reporter& report);

} // namespace tesk
