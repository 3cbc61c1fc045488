// SPDX-License-Identifier: BSD-3-Clause
"use strict";
{
    const table = document.getElementById("index");
    const body = table.tBodies[0];
    const heads = [...table.tHead.rows[0].cells];
    const compareTexts = new Intl.Collator("en", { numeric: true }).compare;

    const valueOf = (row, column) => {
        const cell = row.cells[column];
        if (!cell) return ""; // of a failed scan, whose reason fills the row
        return cell.dataset.value ?? cell.textContent;
    };

    const sortBy = (column, direction) => {
        const byNumber = heads[column].dataset.kind === "number";
        const sign = direction === "descending" ? -1 : 1;
        const rows = [...body.rows].sort((a, b) => {
            const [x, y] = [valueOf(a, column), valueOf(b, column)];
            // Scans without a value stay at the end, whichever way the others are sorted.
            if (x === "" || y === "") return (x === "") - (y === "");
            return sign * (byNumber ? x - y : compareTexts(x, y));
        });
        body.append(...rows);
        heads.forEach((head, i) => head.setAttribute("aria-sort", i === column ? direction : "none"));
    };

    heads.forEach((head, column) => {
        head.querySelector("button").addEventListener("click", () => {
            const ascending = head.getAttribute("aria-sort") === "ascending";
            sortBy(column, ascending ? "descending" : "ascending");
        });
    });

    const find = document.getElementById("find");
    find.addEventListener("input", () => {
        const wanted = find.value.trim().toLowerCase();
        let shown = 0;
        for (const row of body.rows) {
            const hit = row.textContent.toLowerCase().includes(wanted);
            row.hidden = !hit;
            document.getElementById(row.dataset.for).hidden = !hit;
            shown += hit;
        }
        document.getElementById("shown").textContent = wanted ? `${shown} of ${body.rows.length} shown` : "";
    });
    document.querySelector(".controls").hidden = false;
}
