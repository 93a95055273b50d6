#include "platform/host/diff/delta_model.h"

namespace ORVX::TavomendHost {
ByteModel::ByteModel() : guesses_(size_t{1} << SLOT_BITS), flagWeights_(RUN_AFTER), deltaWeights_(256)
{
    for (FlagMixer::Weights& weights : flagWeights_) {
        weights.fill(FlagMixer::FIRST_WEIGHT);
    }
    for (DeltaMixer::Weights& weights : deltaWeights_) {
        weights.fill(DeltaMixer::FIRST_WEIGHT);
    }
    for (GuessMixer::Weights& weights : guessWeights_) {
        weights.fill(GuessMixer::FIRST_WEIGHT);
    }
    for (Slots& slots : guessed_) {
        slots.resize(size_t{1} << SLOT_BITS);
    }
    for (Slots& slots : flags_) {
        slots.resize(size_t{1} << SLOT_BITS);
    }
    for (Slots& slots : deltas_) {
        slots.resize(size_t{1} << SLOT_BITS);
    }
}
} // namespace ORVX::TavomendHost
