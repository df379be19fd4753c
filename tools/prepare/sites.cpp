#include "sites.h"

#include <utility>

namespace prepare {

void SiteCounts::count(Skip why) {
    switch (why) {
    case Skip::None: break;
    case Skip::OtherChromosome: ++otherChromosome; break;
    case Skip::Region: ++region; break;
    case Skip::NoAlt: ++noAlt; break;
    case Skip::Symbolic: ++symbolic; break;
    case Skip::MultiAllelic: ++multiAllelic; break;
    case Skip::Indel: ++indel; break;
    case Skip::OtherLetters: ++otherLetters; break;
    case Skip::Unsorted: ++unsorted; break;
    case Skip::Duplicate: ++duplicate; break;
    }
}

char snp_letter(std::string_view a) {
    if (a.size() != 1) return 0;
    switch (a[0]) {
    case 'A': case 'a': return 'A';
    case 'C': case 'c': return 'C';
    case 'G': case 'g': return 'G';
    case 'T': case 't': return 'T';
    default: return 0;
    }
}

namespace {
bool symbolic(std::string_view a) {
    return a == "*" || (!a.empty() && a[0] == '<') || a.find('[') != std::string_view::npos ||
           a.find(']') != std::string_view::npos;
}
} // namespace

Skip classify_alleles(std::string_view ref, const std::string_view* alts, int nAlt) {
    if (nAlt == 0) return Skip::NoAlt;
    for (int k = 0; k < nAlt; ++k)
        if (symbolic(alts[k])) return Skip::Symbolic;
    if (nAlt > 1) return Skip::MultiAllelic;
    if (ref.size() != 1 || alts[0].size() != 1) return Skip::Indel;
    const char r = snp_letter(ref), a = snp_letter(alts[0]);
    if (!r || !a || r == a) return Skip::OtherLetters;
    return Skip::None;
}

std::string chromosome_key(std::string_view name) {
    if (name.size() > 3 && (name.substr(0, 3) == "chr" || name.substr(0, 3) == "CHR" || name.substr(0, 3) == "Chr"))
        name.remove_prefix(3);
    if (name == "23") return "X";
    if (name == "24") return "Y";
    if (name == "25") return "XY";
    if (name == "26" || name == "M") return "MT";
    return std::string(name);
}

Skip SiteFilter::check(std::string_view chrom, long long pos, Skip alleles) {
    ++counts_.records;
    const std::string key = chromosome_key(chrom);
    Skip why = Skip::None;
    if (!sel_.chromosome.empty() && key != sel_.chromosome) {
        why = Skip::OtherChromosome;
    } else if (key != chromKey_) {
        if (doneChromosomes_.count(key)) {
            why = Skip::Unsorted;  // the chromosome's records are not together
        } else {
            release();
            if (!chromKey_.empty()) doneChromosomes_.insert(chromKey_);
            chromKey_ = key;
            lastPos_ = lastSnpPos_ = -1;
            ids_.clear();
        }
    }
    if (why == Skip::None && pos < lastPos_) why = Skip::Unsorted;
    if (why == Skip::None) {
        lastPos_ = pos;
        if (sel_.to > 0 && (pos < sel_.from || pos > sel_.to)) why = Skip::Region;
        else why = alleles;
    }
    if (why == Skip::None && pos == lastSnpPos_) {
        why = Skip::Duplicate;
        if (pending_ && !pendingDup_) {
            pendingDup_ = true;
            ++counts_.duplicate;
        }
    }
    if (why != Skip::None) {
        counts_.count(why);
        return why;
    }
    lastSnpPos_ = pos;
    slot_.chrom.assign(chrom);
    slot_.key = key;
    slot_.pos = pos;
    slot_.line.clear();
    slot_.hapLine.clear();
    return Skip::None;
}

const std::string& SiteFilter::name(std::string_view id) {
    slot_.originalId.clear();
    const bool bad = id.empty() || id == "." || id.size() > kIdWidth || ids_.count(std::string(id));
    if (bad) {
        slot_.originalId = id.empty() ? "." : std::string(id);
        slot_.id = slot_.key + ":" + std::to_string(slot_.pos);
        if (slot_.id.size() > kIdWidth || ids_.count(slot_.id)) slot_.id = "pos" + std::to_string(slot_.pos);
    } else {
        slot_.id.assign(id);
    }
    ids_.insert(slot_.id);
    return slot_.id;
}

void SiteFilter::hold() {
    release();
    std::swap(held_, slot_);
    pending_ = true;
    pendingDup_ = false;
}

void SiteFilter::release() {
    if (!pending_) return;
    pending_ = false;
    if (pendingDup_) return;
    ++counts_.kept;
    if (!held_.originalId.empty()) ++counts_.renamed;
    emit_(held_);
}

void SiteFilter::finish() { release(); }

} // namespace prepare
