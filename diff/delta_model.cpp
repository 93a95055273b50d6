#include "diff/delta_model.h"

namespace ORVX::Difference {
namespace {
template <class Sets>
void FillWeights(Sets& sets, int32_t weight)
{
    for (auto& weights : sets) {
        weights.fill(weight);
    }
}
} // namespace

ByteModel::ByteModel()
    : lines_((TABLES << SLOT_BITS) / LINE_SIZE), guesses_(size_t{1} << SLOT_BITS), flagWeights_(RUN_AFTER),
      deltaWeights_(256)
{
    FillWeights(flagWeights_, FlagMixer::FIRST_WEIGHT);
    FillWeights(guessWeights_, GuessMixer::FIRST_WEIGHT);
    FillWeights(deltaWeights_, DeltaMixer::FIRST_WEIGHT);
}
} // namespace ORVX::Difference
