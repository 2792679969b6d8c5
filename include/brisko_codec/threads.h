#pragma once

#include <brisko_codec/export.h>

/// How many threads one job uses: a conversion, a pass through a scan, a check, a picture. What a job gives, its
/// files to the byte, its points and its errors, is the same for any number. Progress functions and monitors are
/// called from the thread that began the job, and from no other.
namespace brisko {

/// For the jobs that this process begins from now on, the calling thread of each included.
///   threads  0: as many as there are processors that the process may use (its affinity and the limit of
///            its control group included), which holds from the start; 1: only the calling one
BRISKO_CODEC_EXPORT void setJobThreads(unsigned threads);

/// How many threads a job that the calling thread begins may use; at least 1.
BRISKO_CODEC_EXPORT unsigned jobThreads();

/// While it lives, jobs that the calling thread begins use so many threads, whatever is set for the process:
/// for programs that run several jobs side by side.
class BRISKO_CODEC_EXPORT JobThreadLimit {
public:
    ///   threads  as setJobThreads takes them
    explicit JobThreadLimit(unsigned threads);
    ~JobThreadLimit();
    JobThreadLimit(const JobThreadLimit&) = delete;
    JobThreadLimit& operator=(const JobThreadLimit&) = delete;

private:
    unsigned m_before;
};

}  // namespace brisko
