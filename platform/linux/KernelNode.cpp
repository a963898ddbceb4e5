#include "platform/linux/KernelNode.h"

#include "platform/linux/KernelFile.h"
#include "platform/linux/KernelText.h"

void KernelNode::pair(KernelNode* floor, KernelNode* ceiling) {
    floor->mPartner = ceiling;
    ceiling->mPartner = floor;
}

void KernelNode::setEndText(std::string text) {
    mHasEndText = true;
    mEndText = std::move(text);
}

bool KernelNode::hold(HolderKey key, long long value, std::string_view text, uint64_t seq,
                      HolderUndo* undo) {
    undo->node = this;
    undo->key = key;
    for (Holder& holder : mHolders) {
        if (holder.key == key) {
            if (holder.value == value && holder.text == text) {
                return false;
            }
            undo->existed = true;
            undo->old.value = holder.value;
            undo->old.seq = holder.seq;
            // Bounds carry no text: nothing to copy or to keep.
            undo->textSaved = holder.text != text;
            if (undo->textSaved) {
                undo->old.text.swap(holder.text);
                holder.text.assign(text.data(), text.size());
            }
            holder.value = value;
            holder.seq = seq;
            return true;
        }
    }
    undo->existed = false;
    mHolders.push_back(Holder{key, value, std::string(text), seq});
    return true;
}

void KernelNode::release(HolderKey key, HolderUndo* undo) {
    undo->node = this;
    undo->key = key;
    undo->existed = false;
    for (auto it = mHolders.begin(); it != mHolders.end(); ++it) {
        if (it->key == key) {
            undo->existed = true;
            undo->textSaved = true;
            undo->old = std::move(*it);
            mHolders.erase(it);
            return;
        }
    }
}

void KernelNode::revert(HolderUndo* undo) {
    for (auto it = mHolders.begin(); it != mHolders.end(); ++it) {
        if (it->key != undo->key) {
            continue;
        }
        if (!undo->existed) {
            mHolders.erase(it);
            return;
        }
        it->value = undo->old.value;
        it->seq = undo->old.seq;
        if (undo->textSaved) {
            it->text.swap(undo->old.text);
        }
        return;
    }
    if (undo->existed) {  // it was released: it comes back
        undo->old.key = undo->key;
        mHolders.push_back(std::move(undo->old));
    }
}

const Holder* KernelNode::latest() const {
    const Holder* best = nullptr;
    for (const Holder& holder : mHolders) {
        if (best == nullptr || holder.seq > best->seq) {
            best = &holder;
        }
    }
    return best;
}

bool KernelNode::heldValue(long long* value) const {
    if (mRole == NodeRole::Latest) {
        const Holder* holder = latest();
        if (holder != nullptr) {
            *value = holder->value;
        }
        return holder != nullptr;
    }
    bool found = false;
    for (const Holder& holder : mHolders) {
        if (holder.value <= 0) {
            continue;
        }
        bool better = mRole == NodeRole::Floor ? holder.value > *value : holder.value < *value;
        if (!found || better) {
            *value = holder.value;
            found = true;
        }
    }
    return found;
}

bool KernelNode::heldInForce(long long* value) const {
    if (!heldValue(value)) {
        return false;
    }
    long long ceiling = 0;
    if (mRole == NodeRole::Floor && mPartner != nullptr && mPartner->valueInForce(&ceiling) &&
        ceiling > 0 && *value > ceiling) {
        *value = ceiling;
    }
    return true;
}

bool KernelNode::valueInForce(long long* value) {
    if (heldInForce(value)) {
        return true;
    }
    return mFile->originalNumber(value);
}

bool KernelNode::wanted(WantedText* out) {
    if (mRole == NodeRole::Latest) {
        const Holder* holder = latest();
        if (holder != nullptr) {
            out->text = holder->text;
            return true;
        }
    } else {
        long long value = 0;
        if (heldInForce(&value)) {
            static_assert(sizeof(out->number) >= KernelText::kIntTextSize, "room for a number");
            out->text = std::string_view(out->number, KernelText::formatInt(value, out->number));
            return true;
        }
    }
    if (mHasEndText) {
        out->text = mEndText;
        return true;
    }
    return false;
}
