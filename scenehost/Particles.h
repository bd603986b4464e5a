// Particles and the replicator enumerator. A particle source is any item with particles; a
// replicator links to its prototypes in the item graph "particle" and is linked from its
// sources there. Enumerating a replicator visits every particle of every source, in order.
#pragma once

#include "ComBase.h"

#include "qv/anim.h"

#include <array>
#include <vector>

namespace scenehost {

class Item;

struct Particle {
    std::array<double, 3> position{};
    std::array<double, 9> orientation{1, 0, 0, 0, 1, 0, 0, 0, 1}; // rows
    Item* prototype = nullptr; // null: the replicator's first prototype
    float weight = 1.0f;
    float size = 1.0f;
};

class ReplicatorEnumerator final : public Transient<IQvReplicatorEnumerator> {
public:
    explicit ReplicatorEnumerator(scenehost::Item& replicator) : replicator_(replicator) {}

    // Visits nothing for a replicator whose "enable" is 0, unless `flag` is not 0.
    QvResult Enumerate(IQvVisitor* visitor, IQvChannelRead* channels, int32_t flag) override;
    QvResult Item(IQvItem** prototype) override;
    QvResult Position(double* xyz) override;
    // The orientation scaled by the size, with the position as translation.
    QvResult Transform(double* matrix16) override;
    QvResult SourceItem(IQvItem** source) override;
    QvResult Orientation(double* matrix9) override;
    QvResult Weight(float* value) override;
    QvResult Size(float* value) override;

private:
    scenehost::Item& replicator_;
    scenehost::Item* source_ = nullptr; // while Enumerate runs
    const Particle* current_ = nullptr; // while Enumerate runs
};

} // namespace scenehost
