// The reference plug-in's rule: a small, fixed judgement over the five
// numbers a stream is described by, so that the classifier can be run and
// tested end to end without the trained model. The scores are plausibility
// points, not probabilities; only their order matters to the classifier.
//
//   movie: a video stream (+3); more than two channels (+2); longer than
//          20 minutes (+1)
//   music: two channels at 44.1 kHz or more (+2); between 90 seconds and
//          12 minutes long (+1); 24 bits or more (+1)
//   voice: one channel (+2); a rate of 16 kHz or less (+2); 16 bits or less
//          with a rate under 32 kHz (+1)
//
// Every score starts at 0.1, so that nothing ever ties at zero by accident.
#pragma once

namespace quorvane_plugin {

inline void ReferenceScores(double duration, double sampleRateKHz, double video, double bits, double channels,
                            double scores[3]) {
    double movie = 0.1, music = 0.1, voice = 0.1;
    if (video >= 0.5) movie += 3;
    if (channels > 2) movie += 2;
    if (duration > 20 * 60) movie += 1;
    if (channels == 2 && sampleRateKHz >= 44.1) music += 2;
    if (duration >= 90 && duration <= 12 * 60) music += 1;
    if (bits >= 24) music += 1;
    if (channels == 1) voice += 2;
    if (sampleRateKHz > 0 && sampleRateKHz <= 16) voice += 2;
    if (bits <= 16 && sampleRateKHz < 32) voice += 1;
    scores[0] = movie;
    scores[1] = music;
    scores[2] = voice;
}

}  // namespace quorvane_plugin
