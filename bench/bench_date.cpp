#include <date/date.h>
#include <glib.h>

#include <chrono>
#include <ctime>

#include "bench/library.h"

namespace {

void kqbParse(benchmark::State &state) {
    KqbDate date;
    for (auto _ : state) {
        date.assign("2017-05-05T09:03:07.250");
        benchmark::DoNotOptimize(date);
    }
}
BENCHMARK(kqbParse)->Name("date from ISO text/kqb");

void glibParse(benchmark::State &state) {
    GTimeZone *const utc = g_time_zone_new_utc();
    for (auto _ : state) {
        GDateTime *const date = g_date_time_new_from_iso8601("2017-05-05T09:03:07.250", utc);
        benchmark::DoNotOptimize(date);
        g_date_time_unref(date);
    }
    g_time_zone_unref(utc);
}
BENCHMARK(glibParse)->Name("date from ISO text/GDateTime");

void kqbCompose(benchmark::State &state) {
    int parts[] = {2017, 5, 5, 9, 3, 7, 250};
    KqbDate date;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parts);
        date.assign(parts[0], parts[1], parts[2], parts[3], parts[4], parts[5], parts[6]);
        benchmark::DoNotOptimize(date);
    }
}
BENCHMARK(kqbCompose)->Name("compose a date/kqb");

// The same work: parts checked, then one number.
void hinnantCompose(benchmark::State &state) {
    using namespace std::chrono;
    int parts[] = {2017, 5, 5, 9, 3, 7, 250};
    for (auto _ : state) {
        benchmark::DoNotOptimize(parts);
        date::year_month_day const ymd{date::year(parts[0]),
                                       date::month(static_cast<unsigned>(parts[1])),
                                       date::day(static_cast<unsigned>(parts[2]))};
        double number = 0;
        bool const ok = ymd.ok() && parts[3] >= 0 && parts[3] < 24 && parts[4] >= 0 &&
                        parts[4] < 60 && parts[5] >= 0 && parts[5] < 60 && parts[6] >= 0 &&
                        parts[6] < 1000;
        if (ok) {
            auto const moment = date::sys_days(ymd) + hours(parts[3]) + minutes(parts[4]) +
                                seconds(parts[5]) + milliseconds(parts[6]);
            number = static_cast<double>(moment.time_since_epoch().count()) / 86400000.0;
        }
        benchmark::DoNotOptimize(number);
    }
}
BENCHMARK(hinnantCompose)->Name("compose a date/Hinnant date");

void kqbText(benchmark::State &state) {
    KqbDate date;
    date.assign(2017, 5, 5, 9, 3, 7, 0);
    for (auto _ : state) {
        KqbString text = date.asString(true, false);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(kqbText)->Name("date to ISO text/kqb");

void strftimeText(benchmark::State &state) {
    std::time_t const moment = 1493974987;
    for (auto _ : state) {
        char text[32];
        std::tm parts;
        gmtime_r(&moment, &parts);
        benchmark::DoNotOptimize(std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts));
    }
}
BENCHMARK(strftimeText)->Name("date to ISO text/strftime");

}  // namespace

KQB_BENCH_MAIN()
