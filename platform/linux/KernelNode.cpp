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

void KernelNode::hold(HolderKey key, long long value, std::string_view text, uint64_t seq) {
    for (Holder& holder : mHolders) {
        if (holder.key == key) {
            holder.value = value;
            if (holder.text != text) {  // bounds carry no text: nothing to copy
                holder.text.assign(text.data(), text.size());
            }
            holder.seq = seq;
            return;
        }
    }
    mHolders.push_back(Holder{key, value, std::string(text), seq});
}

bool KernelNode::release(HolderKey key) {
    for (size_t i = 0; i < mHolders.size(); ++i) {
        if (mHolders[i].key == key) {
            mHolders.erase(mHolders.begin() + static_cast<long>(i));
            return true;
        }
    }
    return false;
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
