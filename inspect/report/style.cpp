#include "inspect/report/style.h"

namespace tarvek::inspect {

const std::string_view kReportStyle = R"css(
:root{color-scheme:light dark;--bg:#fff;--ink:#1b2430;--soft:#566272;--line:#e2e6eb;--panel:#f5f7f9;
--link:#1f5f8b;--track:#d3dce2;--edge:#b4bec7;--normal:#2f8f7b;--nc:#eebf4d;--cr:#dd7439;--nr:#a3243f;
--good:#1e7a53;--bad:#a3243f;--warn:#8a5a00}
@media (prefers-color-scheme:dark){:root{--bg:#13171c;--ink:#e4e8ed;--soft:#9ba7b4;--line:#2a313a;
--panel:#1a2027;--link:#86bde4;--track:#3a4651;--edge:#56626e;--normal:#4fbda2;--nc:#d7a53a;--cr:#d2682f;
--nr:#bf3a58;--good:#62c79a;--bad:#f08ba1;--warn:#e3b453}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:76rem;padding:2.5rem 2rem 4rem;background:var(--bg);color:var(--ink);
font:15px/1.5 system-ui,"Segoe UI",Roboto,"Noto Sans",Helvetica,Arial,sans-serif;
font-variant-numeric:tabular-nums;overflow-wrap:break-word}
bdi,.rec th,.rec td,.find td,code,ins,del{overflow-wrap:anywhere}
a{color:var(--link);text-decoration:none}a:hover,a:focus{text-decoration:underline}
h1,h2,h3,p,ul,dl,dd,table{margin:0;padding:0}
h1{font-size:1.9rem;line-height:1.2;font-weight:650;letter-spacing:-.015em}
h1 i{font-style:normal;font-weight:400;color:var(--soft)}
h2{font-size:1.25rem;font-weight:650;letter-spacing:-.01em;margin:3.25rem 0 .9rem}
h3{font-size:1rem;font-weight:600}
small,.q,.kick,caption,dt,footer{color:var(--soft);font-size:.85rem}
.kick{letter-spacing:.02em;margin-bottom:.35rem}
dl{display:grid;grid-template-columns:repeat(4,minmax(6rem,12rem));gap:.5rem 2rem;margin-top:1rem}dd{font-weight:550}
nav{display:flex;flex-wrap:wrap;gap:.25rem 1.25rem;margin-top:1.75rem;padding-top:.9rem;
border-top:1px solid var(--line);font-size:.9rem}
.tiles{display:grid;grid-template-columns:repeat(auto-fit,minmax(6.2rem,1fr));gap:.75rem;
list-style:none;margin-top:1.75rem}
.tiles li{background:var(--panel);border-radius:.5rem;padding:.7rem .95rem;color:var(--soft);font-size:.85rem}
.tiles b{display:block;font-size:1.55rem;line-height:1.25;font-weight:600;color:var(--ink)}
table{border-collapse:collapse;width:100%}
caption{text-align:left;padding-bottom:.4rem}
th{text-align:left;font-weight:600}
thead th{font-size:.8rem;font-weight:500;color:var(--soft);padding:.35rem 1.25rem .35rem 0;
border-bottom:1px solid var(--edge);white-space:nowrap}
tbody td,tbody th{vertical-align:top;padding:.7rem 1.25rem .7rem 0;border-bottom:1px solid var(--line)}
tr>:last-child{padding-right:0}
tr:target,article:target{background:var(--panel)}
.sum{width:auto;min-width:min(26rem,100%)}.sum td,.sum tbody th{padding:.35rem 1.5rem .35rem 0;font-weight:400}
.num{text-align:right}.sum td{white-space:nowrap}.sum tr>:last-child{padding-right:0}
.rec{table-layout:fixed;margin-bottom:1.5rem}
.rec td:first-child{color:var(--soft);font-size:.85rem}
.rec th small{display:block;font-weight:400}
.rec thead :nth-child(1){width:3.25rem}.rec thead :nth-child(2){width:23%}
.rec thead :nth-child(3){width:17%}
.bar,.axis{display:block;width:100%;overflow:visible}
.bar{height:18px}.axis{height:14px}
.bar rect{height:10px;y:2px}
.bar g{clip-path:inset(0 round 3px)}
.bar .ax{height:1px;y:7px;fill:var(--edge)}
.tr{fill:var(--track)}.bar .nc{fill:var(--nc)}.bar .cr{fill:var(--cr)}.bar .nr{fill:var(--nr)}
.bar .no{fill:var(--normal);height:3px;y:14px}
.bar circle{fill:var(--ink);stroke:var(--bg);stroke-width:1.5}
.axis text{font-size:10.5px;fill:var(--soft)}.axis .m{text-anchor:middle}.axis .e{text-anchor:end}
.axis rect{fill:var(--edge)}
.l{display:flex;flex-wrap:wrap;gap:.15rem .8rem;margin-top:.3rem;font-size:.8rem;color:var(--soft)}
.l>span:first-child{margin-right:auto}.l>span+span{display:flex;flex-wrap:wrap;gap:.15rem .8rem}
span.nc,span.cr,span.nr{white-space:nowrap}
span.nc::before,span.cr::before,span.nr::before,.key i{content:"";display:inline-block;width:.6em;
height:.6em;border-radius:2px;margin-right:.4em;background:var(--nc)}
span.cr::before,.key .cr{background:var(--cr)}span.nr::before,.key .nr{background:var(--nr)}
span.nc b,span.cr b,span.nr b{font-weight:600;color:var(--ink)}
.s{display:inline-block;background:var(--panel);border-radius:.3rem;padding:.05rem .5rem;margin:0 .15rem .25rem 0;
font-size:.85rem}
.key{display:flex;flex-wrap:wrap;gap:.2rem 1.4rem;font-size:.85rem;color:var(--soft);margin-bottom:1rem}
.key .t{background:var(--track)}.key .n{background:var(--normal);height:.25em;width:1em;vertical-align:middle}
.key .d{background:var(--ink);border-radius:50%}
.tag{display:inline-block;font-size:.75rem;font-weight:600;border:1px solid;border-radius:1rem;
padding:0 .55rem;margin-left:.5rem;vertical-align:.1em;white-space:nowrap}
.add,.note{color:var(--good)}.del,.error{color:var(--bad)}.chg,.warning{color:var(--warn)}.note{color:var(--soft)}
h3>.tag,td>.tag{margin-left:0}
article{border-top:1px solid var(--line);padding:1rem 0 1.1rem;display:grid;
grid-template-columns:minmax(0,1fr) minmax(0,1fr);gap:.4rem 2.5rem}
.rec+article{border-top:0}article h3{grid-column:1/-1}article h3 small{font-weight:400;margin-left:.5rem}
article table{align-self:start}article td,article tbody th{border:0;padding:.15rem 1rem .15rem 0;font-size:.9rem}
article tbody th{font-weight:400;color:var(--soft);white-space:nowrap}
article thead th{padding:.1rem 1rem .1rem 0;border:0}
del{color:var(--bad);text-decoration-thickness:1px}ins{color:var(--good);text-decoration:none;font-weight:600}
.o{display:grid;grid-template-columns:2.4rem 1fr;align-items:start;font-size:.8rem;color:var(--soft);line-height:14px}
.tree,.tree ul{list-style:none}
.tree ul{border-left:1px solid var(--line);margin:.3rem 0 .3rem .35rem;padding-left:1.15rem}
.tree li{padding:.3rem 0}.tree>li{break-inside:avoid;padding:.45rem 0}.tree b{font-weight:600}
.tree p{display:inline;margin-left:.7rem;font-size:.9rem}.tree small{margin-left:.3rem}.tree small a{color:inherit}.tree .q{display:block;margin-left:0}
code{font:.85em ui-monospace,SFMono-Regular,Menlo,Consolas,"DejaVu Sans Mono",monospace;color:var(--soft)}
footer{margin-top:3.5rem;padding-top:.9rem;border-top:1px solid var(--line)}
@media (max-width:46rem){body{padding:1.5rem 1rem 3rem}h1{font-size:1.5rem}
dl{grid-template-columns:1fr 1fr}
.rec thead,.find thead{position:absolute;width:1px;height:1px;overflow:hidden;clip-path:inset(50%)}
.rec tbody,.find tbody{display:block}
.rec tbody tr,.find tbody tr{display:grid;grid-template-columns:1fr auto;border-bottom:1px solid var(--line);
padding:.75rem 0}
.rec td,.rec tbody th,.find td{border:0;padding:0}.find td:last-child{grid-column:1/-1;margin-top:.3rem}
.rec td:nth-child(1){order:2}.rec td:nth-child(3){order:3;grid-column:1/-1;font-size:.85rem;color:var(--soft)}
.rec td:nth-child(4){order:4;grid-column:1/-1;margin-top:.45rem}
article{grid-template-columns:minmax(0,1fr)}article td,article tbody th{padding-right:.6rem}}
@media print{:root{color-scheme:light;--bg:#fff;--ink:#000;--soft:#444;--line:#ccc;--panel:#f3f3f3;--link:#000;
--track:#d3dce2;--edge:#999;--normal:#2f8f7b;--nc:#eebf4d;--cr:#dd7439;--nr:#a3243f;--good:#1e7a53;--bad:#a3243f;
--warn:#8a5a00}
*{print-color-adjust:exact;-webkit-print-color-adjust:exact}
body{max-width:none;padding:0;font-size:10pt}nav{display:none}
h2{break-after:avoid;margin-top:1.75rem}article{grid-template-columns:minmax(0,1.5fr) minmax(0,1fr)}tr,article,.tiles,.tree>li{break-inside:avoid}
tbody td,tbody th{padding-top:.45rem;padding-bottom:.45rem}@page{margin:15mm}}
)css";

}  // namespace tarvek::inspect
