// Codes a stretch of new content that follows old content byte for byte, with few differences.
#ifndef TAVOMEND_DIFF_DELTA_CODER_H
#define TAVOMEND_DIFF_DELTA_CODER_H

#include <algorithm>
#include <type_traits>

#include "diff/delta_model.h"

namespace ORVX::Difference {
// Held by whoever goes through stretches: the applier's streams and the maker's encoder, which thereby do the same. It
// remembers what came before in the stretch; what is learned for good is in the model.
class DeltaCoder {
public:
    // At the start of each stretch, which knows nothing of the one before.
    void Begin()
    {
        history_ = DeltaHistory{};
        run_ = 0;
        isChangeDue_ = false;
    }

    // The next bytes of the stretch and the old ones that they follow. Byte is const when coding (bytes is the new
    // content), and not const when decoding (bytes receives it). left: bytes until the end of the stretch, at least
    // size; when coding, old and bytes reach that far.
    template <class Byte>
    struct Part {
        const uint8_t* old;
        Byte* bytes;
        size_t size;
        size_t left;
    };

    template <class Coder, class Byte>
    void Code(Coder& coder, DeltaModel& model, const Part<Byte>& part)
    {
        for (size_t i = 0; i < part.size;) {
            const uint8_t* const old = part.old + i;
            Byte* const bytes = part.bytes + i;
            if (run_ == 0 && !isChangeDue_ && history_.same >= ByteModel::RUN_AFTER) {
                run_ = model.numbers.Code(coder, NumberKind::SAME_RUN, CountSame(old, bytes, part.left - i));
                isChangeDue_ = true;
            }
            if (run_ != 0) {
                i += CopyRun(old, bytes, part.size - i);
                continue;
            }
            CodeByte(coder, model.bytes, *old, *bytes);
            ++i;
        }
    }

private:
    template <class Byte>
    static size_t CountSame(const uint8_t* old, Byte* bytes, size_t size)
    {
        if constexpr (std::is_const_v<Byte>) {
            return static_cast<size_t>(std::mismatch(old, old + size, bytes).first - old);
        } else {
            return 0;
        }
    }

    template <class Byte>
    size_t CopyRun(const uint8_t* old, Byte* bytes, size_t size)
    {
        const size_t length = std::min<uint64_t>(run_, size);
        if constexpr (!std::is_const_v<Byte>) {
            std::copy(old, old + length, bytes);
        }
        history_.old2 = history_.new2 = length > 1 ? old[length - 2] : history_.old1;
        history_.old1 = history_.new1 = old[length - 1];
        run_ -= length;
        return length;
    }

    template <class Coder, class Byte>
    void CodeByte(Coder& coder, ByteModel& model, uint8_t old, Byte& byte)
    {
        const auto wanted = static_cast<uint8_t>(byte - old);
        uint8_t delta = 0;
        if (isChangeDue_ || model.CodeChanged(coder, history_, old, wanted != 0)) {
            delta = model.CodeDelta(coder, history_, old, wanted);
        }
        isChangeDue_ = false;
        history_.same = delta != 0 ? 0 : history_.same + 1;
        history_.changed = history_.changed << 1 | (delta != 0 ? 1U : 0U);
        history_.delta2 = history_.delta1;
        history_.delta1 = delta;
        history_.old2 = history_.old1;
        history_.old1 = old;
        history_.new2 = history_.new1;
        history_.new1 = static_cast<uint8_t>(old + delta);
        if constexpr (!std::is_const_v<Byte>) {
            byte = history_.new1;
        }
    }

    DeltaHistory history_;
    uint64_t run_ = 0;
    bool isChangeDue_ = false;
};
} // namespace ORVX::Difference

#endif
