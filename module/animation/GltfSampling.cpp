// Transform sampling: which items get records and which slots, the loop over time, and one key
// set per record from the item's evaluated world matrix.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

#include <cmath>

namespace {

bool anyAxisAnimated(IQvChannelRead* channels, IQvItem* transform, int32_t x, int32_t y,
                     int32_t z) {
    return ChannelIsAnimated(channels, transform, x) || ChannelIsAnimated(channels, transform, y) ||
           ChannelIsAnimated(channels, transform, z);
}

void appendKey(SampleSlot& slot, double time, const GltfVec4& value) {
    slot.sampler->keys.push_back({time, value});
    ++slot.count;
    slot.recent[size_t(slot.count) % 3] = value;
    slot.lastTime = time;
}

double rowLength(const Matrix4& m, int row) {
    const double* r = &m[size_t(row) * 4];
    return std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
}

} // namespace

void SampleRecord::SetUp() {
    if (kind == kSampleTransform) return;
    kind = kSampleTransform;
    sampleTranslation = sampleRotation = sampleScale = false;
    translation = rotation = scale = SampleSlot();
}

// The standard conversion for R, the transpose of the upper-left 3x3 of m.
GltfVec4 QuaternionOfMatrix(const GltfMatrix& m) {
    auto R = [&m](int row, int column) { return m[size_t(column) * 4 + size_t(row)]; };
    GltfVec4 q{};
    const double s = 1.0 + R(0, 0) + R(1, 1) + R(2, 2);
    if (s > 0.0) {
        const double r = std::sqrt(s);
        const double f = 0.5 / r;
        q = {(R(2, 1) - R(1, 2)) * f, (R(0, 2) - R(2, 0)) * f, (R(1, 0) - R(0, 1)) * f, r / 2};
        return q;
    }
    int i = 0;
    if (R(1, 1) > R(0, 0)) i = 1;
    if (R(2, 2) > R(i, i)) i = 2;
    const int j = (i + 1) % 3, k = (j + 1) % 3;
    double r = std::sqrt(1.0 + R(i, i) - R(j, j) - R(k, k));
    q[size_t(i)] = r / 2;
    if (r > 0.0) r = 0.5 / r;
    q[3] = (R(k, j) - R(j, k)) * r;
    q[size_t(j)] = (R(j, i) + R(i, j)) * r;
    q[size_t(k)] = (R(k, i) + R(i, k)) * r;
    return q;
}

// Decides about one item: what its matrix links, its IK membership and its animated transform
// items say can move.
void GltfSaver::AddSampledItem(IQvItem* item, GltfNode* node, IQvChannelRead* channels) {
    if (!ItemIsA(item, types.locator) || !node) return;
    const auto analysis = itemXforms.find(item);
    if (analysis == itemXforms.end()) return;
    SampleRecord record;
    record.item = item;
    record.node = node;

    const XformAnalysis& links = analysis->second;
    const bool inIk = ikItems.count(item) != 0;
    const bool cutRoot = exportType != ExportScope::WholeScene && node->parent == rootNode;
    auto sample = [&record](bool SampleRecord::*slot) {
        record.SetUp();
        record.*slot = true;
    };
    if (links.worldLinks != 0 || links.localLinks != 0 || links.parentLinks != 0) {
        sample(&SampleRecord::sampleTranslation);
        sample(&SampleRecord::sampleRotation);
        sample(&SampleRecord::sampleScale);
    } else if (cutRoot || inIk) {
        sample(&SampleRecord::sampleTranslation);
        sample(&SampleRecord::sampleRotation);
    }
    // These add to what the links above chose.
    if (links.wposLinks != 0) sample(&SampleRecord::sampleTranslation);
    if (links.wrotLinks != 0) sample(&SampleRecord::sampleRotation);
    if (links.wsclLinks != 0) sample(&SampleRecord::sampleScale);

    if (!inIk && links.drivenCount == 0) {
        const std::array<CQvUser_Item, 3> transforms = OwnTransformItems(item);
        bool SampleRecord::*slots[3] = {&SampleRecord::sampleTranslation,
                                        &SampleRecord::sampleRotation, &SampleRecord::sampleScale};
        uint32_t moved = 0;
        for (size_t i = 0; i < 3; ++i) {
            IQvItem* transform = transforms[i].get();
            if (!transform) continue;
            if (anyAxisAnimated(channels, transform, chanX, chanY, chanZ)) {
                sample(slots[i]);
                ++moved;
            } else {
                AddDrivenTransform(item, transform, node);
            }
        }
        // Deliberate: without an animated transform item the record is dropped, whatever the
        // matrix links or a cut root put in it.
        if (moved == 0) return;
    }
    log.LogInfo("Adding sample xform anim for %s", node->name.c_str());
    AddSampleRecord(record);
    // Sampled nodes go out decomposed, the form whose members the channels target.
    node->useMatrix = false;
}

// A transform item that links drive gets a record of its own kind. Deliberate: it neither logs
// nor clears useMatrix, so a node sampled only this way keeps its "matrix" beside its channels.
void GltfSaver::AddDrivenTransform(IQvItem* item, IQvItem* transform, GltfNode* node) {
    if (ChannelDriverCount(transform, chanX) == 0 && ChannelDriverCount(transform, chanY) == 0 &&
        ChannelDriverCount(transform, chanZ) == 0)
        return;
    SampleRecord record;
    record.item = item;
    record.node = node;
    if (ItemIsA(transform, types.translation)) {
        record.kind = kSampleTransform;
        record.sampleTranslation = true;
    } else if (ItemIsA(transform, types.rotation)) {
        record.kind = kSampleTransform;
        record.sampleRotation = true;
    } else if (ItemIsA(transform, types.scale)) {
        record.kind = kSampleTransform;
        record.sampleScale = true;
    }
    AddSampleRecord(record);
}

// A transform record merges into the item's first transform record; anything else is appended.
void GltfSaver::AddSampleRecord(const SampleRecord& record) {
    const auto [first, last] = sampleRecords.equal_range(record.item);
    if (first == last) {
        sampledItems.push_back(record.item);
    } else if (record.kind == kSampleTransform) {
        for (auto entry = first; entry != last; ++entry) {
            SampleRecord& existing = entry->second;
            if (existing.kind != kSampleTransform) continue;
            existing.sampleTranslation |= record.sampleTranslation;
            existing.sampleRotation |= record.sampleRotation;
            existing.sampleScale |= record.sampleScale;
            return;
        }
    }
    sampleRecords.emplace_hint(last, record.item, record);
}

void GltfSaver::SampleAnimation(double rate) {
    if (sampledItems.empty()) return;
    GltfAnimation* animation = rootNode->CreateAnimation();
    const double dt = 1.0 / rate;
    double t = timeStart;
    log.LogInfo("Init FbxCurves for sampling..."); // deliberate: the words stay as logs know them
    for (ItemRef item : sampledItems) {
        const auto [first, last] = sampleRecords.equal_range(item);
        for (auto entry = first; entry != last; ++entry) {
            SampleRecord& record = entry->second;
            if (record.kind != kSampleTransform) continue;
            const std::pair<bool, SampleSlot*> slots[3] = {
                {record.sampleTranslation, &record.translation},
                {record.sampleRotation, &record.rotation},
                {record.sampleScale, &record.scale}};
            const GltfAnimationPath paths[3] = {GltfAnimationPath::Translation,
                                                GltfAnimationPath::Rotation,
                                                GltfAnimationPath::Scale};
            for (size_t i = 0; i < 3; ++i) {
                if (!slots[i].first) continue;
                slots[i].second->sampler = animation->AddSampler(paths[i]);
                animation->AddChannel(record.node, slots[i].second->sampler, paths[i]);
            }
            record.animation = animation;
        }
    }
    log.LogInfo("Sampling...");
    // Deliberate: time accumulates by repeated addition and the bound is summed anew at every
    // test, so rounding in the sum decides whether a last key falls in.
    while (t < timeEnd + dt) {
        CQvUser_ChannelRead channels;
        if (!sceneWrap || QvFailed(sceneWrap->GetChannels(nullptr, t, channels.out())))
            channels.clear();
        for (ItemRef item : sampledItems) {
            const auto [first, last] = sampleRecords.equal_range(item);
            for (auto entry = first; entry != last; ++entry)
                SampleItemAt(entry->second, channels.get(), t);
        }
        t = t + dt;
    }
    log.LogInfo("Deinit FbxCurves after sampling...");
    log.LogInfo("   start:%f end:%f (%f - %f)", timeStart, timeEnd, rate * timeStart,
                rate * timeEnd);
}

// The item's local matrix at `time`, from its host parent's world matrix (whether or not that
// parent has a node), or its world matrix for a top-level node of a partial export.
void GltfSaver::SampleItemAt(SampleRecord& record, IQvChannelRead* channels, double time) {
    if (record.kind != kSampleTransform) return;
    CQvUser_Locator locator;
    CQvUser_Item parent;
    locator.bind(record.item);
    const bool hasParent = ItemParentOf(record.item, parent);

    Matrix4 m = kGltfIdentityMatrix;
    Matrix4 world = kGltfIdentityMatrix;
    if (locator && channels && QvSucceeded(locator->WorldTransform(channels, world.data()))) {
        const bool useParent = exportType == ExportScope::WholeScene
                                   ? hasParent
                                   : hasParent && record.node->parent != rootNode;
        m = world;
        CQvUser_Locator parentLocator;
        Matrix4 parentWorld = kGltfIdentityMatrix;
        if (useParent && parentLocator.bind(parent.get()) &&
            QvSucceeded(parentLocator->WorldTransform(channels, parentWorld.data()))) {
            Invert(parentWorld);
            Multiply(m, parentWorld);
        }
    }
    if (record.sampleTranslation) appendKey(record.translation, time, {m[12], m[13], m[14], 0.0});
    if (record.sampleRotation) appendKey(record.rotation, time, QuaternionOfMatrix(m));
    if (record.sampleScale)
        appendKey(record.scale, time, {rowLength(m, 0), rowLength(m, 1), rowLength(m, 2), 0.0});
}
