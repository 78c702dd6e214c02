// Samples as text: sorted, and handed to their format.
// Not the place for what a format looks like.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "format.h"
#include "order.h"
#include "renderers.h"

namespace tools::zolstat {
namespace {

using Renderer = std::string (*)(const Samples&, Kind, const Layout&);

Renderer rendererOf(const Layout& layout) {
    switch (layout.format) {
        case Format::Table:
            return layout.columns.empty() ? renderTable : renderFlatTable;
        case Format::Json:
            return renderJson;
        case Format::Ndjson:
            return renderNdjson;
        case Format::Csv:
            return renderCsv;
        case Format::Prometheus:
            return renderPrometheus;
        case Format::Raw:
            return renderRaw;
    }
    return renderTable;
}

}  // namespace

std::string render(std::vector<Sample> samples, Kind kind, const Layout& layout) {
    const Renderer renderer = rendererOf(layout);
    const bool isGrouped = renderer == renderTable && kind == Kind::Statistics;
    for (Sample& sample : samples) {
        sort(sample.readings, kind, layout.order, isGrouped ? Within::Group : Within::Gateway);
    }
    return renderer(samples, kind, layout);
}

}  // namespace tools::zolstat
