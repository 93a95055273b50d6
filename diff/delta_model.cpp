#include "diff/delta_model.h"

namespace ORVX::Difference {
namespace {
template <class Tables>
void Resize(Tables& tables, size_t size)
{
    for (auto& table : tables) {
        table.resize(size);
    }
}

template <class Sets>
void FillWeights(Sets& sets, int32_t weight)
{
    for (auto& weights : sets) {
        weights.fill(weight);
    }
}
} // namespace

ByteModel::ByteModel() : guesses_(size_t{1} << SLOT_BITS), flagWeights_(RUN_AFTER), deltaWeights_(256)
{
    Resize(flags_, size_t{1} << SLOT_BITS);
    Resize(guessed_, size_t{1} << SLOT_BITS);
    Resize(deltas_, size_t{1} << SLOT_BITS);
    FillWeights(flagWeights_, FlagMixer::FIRST_WEIGHT);
    FillWeights(guessWeights_, GuessMixer::FIRST_WEIGHT);
    FillWeights(deltaWeights_, DeltaMixer::FIRST_WEIGHT);
}
} // namespace ORVX::Difference
