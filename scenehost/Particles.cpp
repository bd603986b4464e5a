#include "Particles.h"

#include "Item.h"

namespace scenehost {

QvResult ReplicatorEnumerator::Enumerate(IQvVisitor* visitor, IQvChannelRead* channels,
                                         int32_t flag) {
    if (!visitor) return qvFailed;
    int32_t enabled = 1;
    const uint32_t enable = replicator_.ChannelIndex(qvChanEnable);
    if (!channels || QvFailed(channels->ReadInteger(&replicator_, enable, &enabled)))
        replicator_.SetupValue(enable).AsInteger(&enabled);
    if (enabled == 0 && flag == 0) return qvOk;
    for (scenehost::Item* source : replicator_.ReverseLinks(qvGraphParticle)) {
        source_ = source;
        for (const Particle& particle : source->Particles()) {
            current_ = &particle;
            const QvResult result = visitor->Evaluate();
            if (QvFailed(result)) {
                current_ = nullptr;
                return result;
            }
        }
    }
    current_ = nullptr;
    source_ = nullptr;
    return qvOk;
}

QvResult ReplicatorEnumerator::Item(IQvItem** prototype) {
    if (!prototype || !current_) return qvFailed;
    scenehost::Item* item = current_->prototype;
    const std::vector<scenehost::Item*>& prototypes = replicator_.Links(qvGraphParticle);
    if (!item && !prototypes.empty()) item = prototypes.front();
    if (!item) return qvNotFound;
    return AnswerWith<IQvItem>(item, reinterpret_cast<void**>(prototype));
}

QvResult ReplicatorEnumerator::Position(double* xyz) {
    if (!xyz || !current_) return qvFailed;
    for (size_t i = 0; i < 3; ++i)
        xyz[i] = current_->position[i];
    return qvOk;
}

QvResult ReplicatorEnumerator::Transform(double* m) {
    if (!m || !current_) return qvFailed;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column)
            m[row * 4 + column] = current_->orientation[row * 3 + column] * current_->size;
        m[row * 4 + 3] = 0.0;
        m[12 + row] = current_->position[row];
    }
    m[15] = 1.0;
    return qvOk;
}

QvResult ReplicatorEnumerator::SourceItem(IQvItem** source) {
    if (!source || !current_ || !source_) return qvFailed;
    return AnswerWith<IQvItem>(source_, reinterpret_cast<void**>(source));
}

QvResult ReplicatorEnumerator::Orientation(double* m) {
    if (!m || !current_) return qvFailed;
    for (size_t i = 0; i < 9; ++i)
        m[i] = current_->orientation[i];
    return qvOk;
}

QvResult ReplicatorEnumerator::Weight(float* value) {
    if (!value || !current_) return qvFailed;
    *value = current_->weight;
    return qvOk;
}

QvResult ReplicatorEnumerator::Size(float* value) {
    if (!value || !current_) return qvFailed;
    *value = current_->size;
    return qvOk;
}

} // namespace scenehost
