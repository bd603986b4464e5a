// The particles of a replicator, read from the host. A save exports a replicator as one plain
// node and never expands it, so no step of a save uses this: it is the reader that a save which
// expands replicators would start from.
#pragma once

#include "host/CQvImpl.h"
#include "host/CQvUser.h"

#include <array>
#include <cstdint>
#include <vector>

struct ReplicatorParticle {
    float value = 0.0f;            // the enumerator's first scalar, the particle's weight
    uint32_t index = 0;            // running number, from 0
    IQvItem* item = nullptr;       // the prototype placed here; not owned
    IQvItem* sourceItem = nullptr; // the particle source; not owned
    std::array<double, 9> orientation{};
    std::array<double, 3> position{};
    float scalar = 0.0f; // the enumerator's second scalar, the particle's size
};

class ReplicatorData : public CQvUser_Item {
public:
    // Wraps `item` when it is a replicator with a prototype and a particle source.
    bool Set(IQvItem* item);
    // Fills `particles` anew; 0x80000000 when the wrapped item is no valid replicator.
    QvResult Enumerate(IQvChannelRead* channels, int32_t flag);

    std::vector<ReplicatorParticle> particles;

private:
    bool IsReplicator();

    class Evaluator final : public CQvImpl_AbstractVisitor {
    public:
        Evaluator(CQvUser_ReplicatorEnumerator& enumerator, std::vector<ReplicatorParticle>& out)
            : enumerator(enumerator), particles(out) {}
        QvResult Evaluate() override;

    private:
        CQvUser_ReplicatorEnumerator& enumerator;
        std::vector<ReplicatorParticle>& particles;
        uint32_t index = 0;
    };
};
