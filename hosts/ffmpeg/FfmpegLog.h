// How much of FFmpeg's own logging a program shows.
#pragma once

/// Lets FFmpeg print its errors only: its warnings (a format guessed with a
/// low score, a file that ends early) say again what the hosts report as
/// failures in their own words.
void ShowFfmpegErrorsOnly();
